#pragma once

#include <algorithm>
#include <functional>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Size of one piece of a stream. */
constexpr size_t kStreamPiece = 64 * 1024;

/** Returns the next bytes of a stream, valid until the next call; empty at the end. */
using ByteSource = std::function<ByteView()>;

/** Receives the next bytes of a stream. */
using ByteSink = std::function<void(ByteView)>;

/** A stream over bytes in memory, which must outlive it. */
inline ByteSource stream_of(ByteView bytes) {
  return [rest = bytes]() mutable {
    const ByteView piece = rest.first(std::min(rest.size(), kStreamPiece));
    rest = rest.subspan(piece.size());
    return piece;
  };
}

}  // namespace velm::token
