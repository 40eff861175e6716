#include "ui/parts/refresh_timer.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <utility>

namespace quenvar {

namespace {

constexpr std::chrono::milliseconds kFrame{50};
/// Drawing takes 0.4 percent of the time, so that it is hardly seen beside the queries that it shows.
constexpr int kRestPerWork = 250;
/// Enough for the lines of a web page or two at full pace.
constexpr std::chrono::seconds kLongestCredit{5};

}  // namespace

RefreshTimer::RefreshTimer(std::function<void()> redraw) : redraw_(std::move(redraw)) {
  timer_.setSingleShot(true);
  QObject::connect(&timer_, &QTimer::timeout, [this] { Draw(); });
}

void RefreshTimer::Schedule() {
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(rested_ - Clock::now());
  timer_.start(std::max(kFrame, rest));
}

// The windows paint at once and not later, as usual, because most of the work is in that.
void RefreshTimer::Draw() {
  const Clock::time_point begin = Clock::now();
  redraw_();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
  rested_ = std::max(rested_, begin - kLongestCredit) + (Clock::now() - begin) * kRestPerWork;
}

}  // namespace quenvar
