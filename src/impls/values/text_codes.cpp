#include "impls/values/text_codes.h"

#include <cassert>
#include <stdexcept>

namespace orvik::impls {

namespace {

constexpr char k_too_many_texts[] = "too many distinct values in a column";

}  // namespace

std::uint64_t text_codes::key_of(std::string_view text) {
  return text.size() <= k_inline ? zel::text::word_of(text) : zel::text::hash_of(text);
}

bool text_codes::holds(const slot& s, std::uint64_t key, std::string_view text) const {
  if (s.key != key || s.length != text.size()) return false;
  if (text.size() <= k_inline) return true;
  const entry& e = entries_[s.value - 1];
  return std::memcmp(arena_.data() + e.key_or_offset, text.data(), text.size()) == 0;
}

/// Index of the slot that holds `text`, or of the free one where it belongs. There is always one.
std::size_t text_codes::probe(std::uint64_t key, std::string_view text) const {
  assert(entries_.size() < slots_.size());
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = spread(key, text.size()) & mask;; i = (i + 1) & mask) {
    const slot& s = slots_[i];
    if (s.value == 0 || holds(s, key, text)) return i;
  }
}

text_codes::code text_codes::find(std::string_view text) const {
  return slots_.empty() ? 0 : slots_[probe(key_of(text), text)].value;
}

text_codes::code text_codes::insert(std::string_view text) {
  if (slots_.empty()) slots_.resize(64);
  const std::uint64_t key = key_of(text);
  slot& s = slots_[probe(key, text)];
  if (s.value != 0) return s.value;

  if (entries_.size() >= UINT32_MAX - 1 || text.size() >= UINT32_MAX) {
    throw std::runtime_error(k_too_many_texts);
  }
  const auto length = static_cast<std::uint32_t>(text.size());
  if (text.size() <= k_inline) {
    entries_.push_back({key, length});
  } else {
    entries_.push_back({arena_.size(), length});
    arena_.insert(arena_.end(), text.begin(), text.end());
  }
  s = {key, length, size()};
  const code added = size();
  if (entries_.size() * 2 > slots_.size()) grow();
  return added;
}

void text_codes::grow() {
  std::vector<slot> old = std::move(slots_);
  slots_.assign(old.size() * 4, slot{});
  const std::size_t mask = slots_.size() - 1;
  for (const slot& s : old) {
    if (s.value == 0) continue;
    std::size_t i = spread(s.key, s.length) & mask;
    while (slots_[i].value != 0) i = (i + 1) & mask;
    slots_[i] = s;
  }
}

std::string_view text_codes::text(code c, char (&room)[8]) const {
  assert(c >= 1 && c <= size());
  const entry& e = entries_[c - 1];
  if (e.length > k_inline) return {arena_.data() + e.key_or_offset, e.length};
  for (std::uint32_t i = 0; i < e.length; ++i)
    room[i] = static_cast<char>(e.key_or_offset >> (8 * i));
  return {room, e.length};
}

}  // namespace orvik::impls
