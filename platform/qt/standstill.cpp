#include "platform/qt/standstill.h"

#include <utility>

namespace quenvar {

namespace {

constexpr int kLookMilliseconds = 1000;
constexpr int kLooks = 10;

}  // namespace

Standstill::Standstill(std::function<bool()> hasMoved, std::function<void()> giveUp)
    : hasMoved_(std::move(hasMoved)), giveUp_(std::move(giveUp)) {
  look_.setInterval(kLookMilliseconds);
  QObject::connect(&look_, &QTimer::timeout, &look_, [this] { Look(); });
}

void Standstill::Start() {
  if (look_.isActive()) return;
  stillLooks_ = 0;
  look_.start();
}

void Standstill::Look() {
  stillLooks_ = hasMoved_() ? 0 : stillLooks_ + 1;
  if (stillLooks_ < kLooks) return;
  Stop();
  const auto giveUp = giveUp_;
  giveUp();
}

}  // namespace quenvar
