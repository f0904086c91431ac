#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>

namespace velm::token {

/**
 * Limits the memory of all requests together: bodies, calls and answers. Claims receive their shares in the
 * order in which they ask, so small ones cannot starve a large one. Thread-safe.
 */
class ByteBudget {
 public:
  class Claim;

  /**
   * Shares of at most this size are granted at once and not counted: a connection itself needs as much. So
   * clients that send or read slowly cannot delay them by occupying the budget.
   */
  static constexpr size_t kFreeShare = size_t{32} * 1024;
  /** Larger shares up to this size are taken from a reserve of their own and never wait for larger ones. */
  static constexpr size_t kSmallShare = size_t{272} * 1024;
  /** Size of the reserve, which is added to the budget. */
  static constexpr size_t kReserve = size_t{32} * 1024 * 1024;

  explicit ByteBudget(size_t size) : large_{.size = size} {}
  ByteBudget(const ByteBudget&) = delete;

  size_t size() const { return large_.size; }
  /** The bytes in use, without free shares; likewise below. */
  size_t used() const;
  /** The most bytes that were in use at any time. */
  size_t peak() const;

 private:
  struct Lane {
    size_t size;
    size_t used = 0;
    std::list<Claim*> queue{};
  };

  Lane& lane_for(size_t bytes);
  void take(Claim& claim, Lane& lane, size_t bytes);
  void serve_queue(Lane& lane);

  mutable std::mutex mutex_;
  Lane free_{.size = SIZE_MAX};
  Lane small_{.size = kReserve};
  Lane large_;
  size_t peak_ = 0;
};

/** The share of one request. The destructor gives it back. Callers must serialise the calls of one claim. */
class ByteBudget::Claim {
 public:
  explicit Claim(ByteBudget& budget) : budget_(budget) {}
  Claim(const Claim&) = delete;
  ~Claim();

  /**
   * Asks for a share of this size, or of the whole budget if that is smaller, in place of the present share.
   * Returns whether it was granted at once. If not, the claim keeps its share and waits for its turn.
   */
  bool ask(size_t bytes);
  /** Whether the claim waits for no share. */
  bool granted() const;
  /** Changes the share at once. Returns false, and keeps the present share, if the new one would wait. */
  bool resize(size_t bytes);

 private:
  friend ByteBudget;

  bool fits(const Lane& lane, size_t bytes) const;

  ByteBudget& budget_;
  Lane* lane_ = nullptr;  // the lane of the present share
  size_t held_ = 0;
  Lane* awaited_ = nullptr;  // the lane in whose queue the claim waits
  size_t wanted_ = 0;
};

}  // namespace velm::token
