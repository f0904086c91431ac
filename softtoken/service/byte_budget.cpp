#include "softtoken/service/byte_budget.h"

#include <algorithm>

namespace velm::token {

size_t ByteBudget::used() const {
  const std::lock_guard lock(mutex_);
  return small_.used + large_.used;
}

size_t ByteBudget::peak() const {
  const std::lock_guard lock(mutex_);
  return peak_;
}

ByteBudget::Lane& ByteBudget::lane_for(size_t bytes) {
  if (bytes <= kFreeShare) return free_;
  return bytes <= kSmallShare ? small_ : large_;
}

void ByteBudget::take(Claim& claim, Lane& lane, size_t bytes) {
  Lane* const left = claim.lane_;
  if (left != nullptr) left->used -= claim.held_;
  lane.used += bytes;
  claim.lane_ = &lane;
  claim.held_ = bytes;
  claim.awaited_ = nullptr;
  peak_ = std::max(peak_, small_.used + large_.used);
}

void ByteBudget::serve_queue(Lane& lane) {
  while (!lane.queue.empty()) {
    Claim& first = *lane.queue.front();
    if (!first.fits(lane, first.wanted_)) return;
    lane.queue.pop_front();
    Lane* const left = first.lane_;
    take(first, lane, first.wanted_);
    if (left != nullptr && left != &lane) serve_queue(*left);
  }
}

ByteBudget::Claim::~Claim() {
  const std::lock_guard lock(budget_.mutex_);
  if (awaited_ != nullptr) {
    awaited_->queue.remove(this);
    budget_.serve_queue(*awaited_);
  }
  if (lane_ == nullptr) return;
  lane_->used -= held_;
  budget_.serve_queue(*lane_);
}

// The present share counts as free, because the new one replaces it.
bool ByteBudget::Claim::fits(const Lane& lane, size_t bytes) const {
  const size_t others = lane.used - (lane_ == &lane ? held_ : 0);
  return bytes <= lane.size - others;
}

bool ByteBudget::Claim::ask(size_t bytes) {
  if (resize(bytes)) return true;
  const std::lock_guard lock(budget_.mutex_);
  Lane& lane = budget_.lane_for(bytes);
  lane.queue.push_back(this);
  awaited_ = &lane;
  wanted_ = std::min(bytes, lane.size);
  budget_.serve_queue(lane);
  return awaited_ == nullptr;
}

bool ByteBudget::Claim::granted() const {
  const std::lock_guard lock(budget_.mutex_);
  return awaited_ == nullptr;
}

bool ByteBudget::Claim::resize(size_t bytes) {
  const std::lock_guard lock(budget_.mutex_);
  Lane* const left = lane_;
  const bool shrinks = left != nullptr && bytes <= held_;
  Lane& lane = shrinks ? *left : budget_.lane_for(bytes);
  bytes = std::min(bytes, lane.size);
  if (!shrinks && !(lane.queue.empty() && fits(lane, bytes))) return false;
  budget_.take(*this, lane, bytes);
  if (left != nullptr) budget_.serve_queue(*left);
  return true;
}

}  // namespace velm::token
