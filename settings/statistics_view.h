#pragma once

#include <cstdint>
#include <string>

namespace quenvar {

/// The statistics on the screen. Called only with values that differ from those shown.
class StatisticsView {
 public:
  virtual ~StatisticsView() = default;

  /// Shares of all settled requests, in whole percent.
  virtual void ShowCacheShare(std::int16_t /*percent*/) {}
  virtual void ShowServerShare(std::int16_t /*percent*/) {}
  virtual void ShowLostShare(std::int16_t /*percent*/) {}
  virtual void ShowWaiting(const std::string& /*count*/) {}
  virtual void ShowGain(const std::string& /*text*/) {}
};

}  // namespace quenvar
