#include "softtoken/tests/support/freed_blocks.h"

#include <array>
#include <atomic>
#include <cstring>
#include <stdexcept>

// The allocator interface of the sanitizers. gcc does not install its header.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, size_t),
                                              void (*freed)(const volatile void*));
int __sanitizer_get_ownership(const volatile void* block);
size_t __sanitizer_get_allocated_size(const volatile void* block);
}

namespace velm::token {
namespace {

constexpr size_t kMostTexts = 16;

std::array<const char*, kMostTexts> g_texts;
std::array<std::atomic<size_t>, kMostTexts> g_found;
std::atomic<size_t> g_text_count = 0;

void look_into(const volatile void* freed) {
  if (g_text_count == 0 || __sanitizer_get_ownership(freed) == 0) return;
  const void* block = const_cast<const void*>(freed);
  const size_t size = __sanitizer_get_allocated_size(freed);
  for (size_t i = 0; i < g_text_count; ++i) {
    if (memmem(block, size, g_texts[i], std::strlen(g_texts[i])) != nullptr) ++g_found[i];
  }
}

void ignore_allocation(const volatile void*, size_t) {}

// The hooks cannot be removed.
void install_hooks() {
  static const int installed = __sanitizer_install_malloc_and_free_hooks(ignore_allocation, look_into);
  if (installed == 0) throw std::runtime_error("the sanitizer reports no blocks");
}

}  // namespace

FreedBlocks::FreedBlocks(std::span<const char* const> texts) {
  if (texts.size() > kMostTexts) throw std::length_error("too many texts");
  install_hooks();
  for (size_t i = 0; i < texts.size(); ++i) {
    g_texts[i] = texts[i];
    g_found[i] = 0;
  }
  g_text_count = texts.size();
}

FreedBlocks::~FreedBlocks() { g_text_count = 0; }

size_t FreedBlocks::containing(size_t text) const { return g_found.at(text); }

}  // namespace velm::token
