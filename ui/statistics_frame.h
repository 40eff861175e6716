#pragma once

#include <QGroupBox>
#include <QLineEdit>

#include "settings/statistics_view.h"
#include "ui/parts/refresh_timer.h"
#include "ui/parts/share_bar.h"

namespace quenvar {

/// The frame "Statistics" of the system page.
class StatisticsFrame : public QGroupBox, public StatisticsView {
 public:
  explicit StatisticsFrame(QWidget* parent);

  void ShowCacheShare(std::int16_t percent) override;
  void ShowServerShare(std::int16_t percent) override;
  void ShowLostShare(std::int16_t percent) override;
  void ShowWaiting(const std::string& count) override;
  void ShowGain(const std::string& text) override;

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  // What is to be shown. It changes with every query; the controls follow at the pace of the eye.
  struct Values {
    int cache = 0;
    int server = 0;
    int lost = 0;
    std::string waiting = "0";
    std::string gain = "0,0";
  };

  QLineEdit* AddValueBox(int top, int width, const char* hint);
  void AddCaption(int top, const QString& text, const char* hint);
  void Changed();
  void ShowValues();

  Values values_;
  ShareBar* Progress1;
  ShareBar* Progress2;
  ShareBar* Progress3;
  QLineEdit* Text7;
  QLineEdit* Text4;
  RefreshTimer refresh_;
};

}  // namespace quenvar
