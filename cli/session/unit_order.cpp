#include "session/unit_order.h"

namespace elfload {

bool UnitOrder::Take(size_t& unit) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return IsStopped() || next_ == count_ || next_ - turn_ < mostAhead; });
  if (IsStopped() || next_ == count_) return false;
  held_.emplace_back();
  unit = next_++;
  return true;
}

// Says and writes what waited for the turn.
void UnitOrder::GiveOut(Held& held) {
  if (!held.isBegun) return;
  tell_(held.news);
  held.news = {};
  for (const std::string& text : held.texts) {
    out_->Write(text);
    heldBytes_ -= text.size();
  }
  held.texts.clear();
}

void UnitOrder::Begin(size_t unit, UnitNews news) {
  const std::lock_guard lock(mutex_);
  Held& held = At(unit);
  held.news = std::move(news);
  held.isBegun = true;
  if (unit == turn_) GiveOut(held);
}

bool UnitOrder::Write(size_t unit, const char* text, size_t size) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return IsStopped() || unit == turn_ || heldBytes_ + size <= mostHeld_; });
  if (IsStopped()) return false;
  if (unit == turn_) {
    out_->Write(text, size);
  } else {
    At(unit).texts.emplace_back(text, size);
    heldBytes_ += size;
  }
  return true;
}

void UnitOrder::End(size_t unit) {
  {
    const std::lock_guard lock(mutex_);
    At(unit).isEnded = true;
    while (!held_.empty() && held_.front().isEnded) {
      held_.pop_front();
      turn_++;
      if (!held_.empty()) GiveOut(held_.front());
    }
  }
  changed_.notify_all();
}

void UnitOrder::Stop(std::exception_ptr reason) {
  {
    const std::lock_guard lock(mutex_);
    if (!isStopped_) reason_ = std::move(reason);
    isStopped_ = true;
  }
  changed_.notify_all();
}

void UnitOrder::Check() const {
  const std::lock_guard lock(mutex_);
  if (reason_ != nullptr) std::rethrow_exception(reason_);
}

}  // namespace elfload
