#include "column_profile.h"

#include <stdexcept>
#include <unordered_set>

#include "zel/text/hash.h"

namespace orvprep {

namespace {

constexpr char k_too_many[] = "too many different values in a column";
constexpr std::size_t k_most_entries = 0xfffffffe;

}  // namespace

/// Index of the slot of the hash, or of the free one that it would take.
std::size_t column_profile::probe(std::uint64_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  const auto tag = static_cast<std::uint32_t>(hash >> 32);
  std::size_t at = hash & mask;
  while (slots_[at].entry != 0 &&
         (slots_[at].tag != tag || entries_[slots_[at].entry - 1].hash != hash)) {
    at = (at + 1) & mask;
  }
  return at;
}

void column_profile::grow() {
  slots_.assign(slots_.size() * 2, {});
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    std::size_t at = entries_[i].hash & mask;
    while (slots_[at].entry != 0) at = (at + 1) & mask;
    slots_[at] = {static_cast<std::uint32_t>(entries_[i].hash >> 32),
                  static_cast<std::uint32_t>(i + 1)};
  }
}

void column_profile::add(std::string_view text, unsigned long line) {
  ++n_cells_;
  if (!batch_.empty() && text == text_of(batch_.back())) {
    ++batch_.back().count;
    return;
  }
  if (batch_.size() == k_batch) look_up_batch();
  batch_.push_back({zel::text::hash_of(text), 1, line, batch_text_.size(), text.size()});
  batch_text_ += text;
}

void column_profile::look_up_batch() {
  while (2 * (entries_.size() + batch_.size()) > slots_.size()) grow();
  const std::size_t mask = slots_.size() - 1;
  for (const pending& p : batch_) __builtin_prefetch(&slots_[p.hash & mask]);
  for (const pending& p : batch_) {
    const std::uint32_t at = slots_[p.hash & mask].entry;
    if (at != 0) __builtin_prefetch(&entries_[at - 1]);
  }
  for (const pending& p : batch_) look_up(p);
  batch_.clear();
  batch_text_.clear();
}

void column_profile::look_up(const pending& p) {
  slot& s = slots_[probe(p.hash)];
  if (s.entry == 0) {
    if (entries_.size() == k_most_entries) throw std::runtime_error(k_too_many);
    entries_.push_back({p.hash, 0, p.line, k_no_text, false});
    s = {static_cast<std::uint32_t>(p.hash >> 32), static_cast<std::uint32_t>(entries_.size())};
    classify(entries_.back(), text_of(p), p.line);
  }
  entries_[s.entry - 1].count += p.count;
}

/// A text that was not met before.
void column_profile::classify(entry& e, std::string_view text, unsigned long line) {
  if (rules_->is_unknown(text)) {
    e.unknown = true;
    if (!first_unknown_) first_unknown_ = {std::string(text), 1, line};
    return;
  }
  ++n_distinct_;
  if (texts_.size() < k_most_texts) {
    e.text = static_cast<std::uint32_t>(texts_.size());
    texts_.emplace_back(text);
  }
  const number n = number_of(rules_->number_text(text));
  if (n.kind == number_kind::none) {
    if (!first_text_) first_text_ = {std::string(text), 1, line};
    if (rules_->breaks_form(text)) {
      if (n_replaced_++ == 0) first_replaced_ = {std::string(text), 1, line};
      replaced_.emplace_back(zel::text::hash_of(rules_->written(text)), text);
    }
    return;
  }
  has_reals_ = has_reals_ || n.kind == number_kind::real;
  const bool first = n_distinct_ == 1;
  lowest_ = first ? n.value : std::min(lowest_, n.value);
  highest_ = first ? n.value : std::max(highest_, n.value);
}

unsigned long column_profile::n_unknown() const {
  unsigned long n = 0;
  for (const entry& e : entries_) n += e.unknown ? e.count : 0;
  return n;
}

std::string column_profile::collision() const {
  std::unordered_set<std::uint64_t> written;
  for (const auto& [hash, text] : replaced_) {
    if (has(hash) || !written.insert(hash).second) return text;
  }
  return {};
}

std::vector<counted_text> column_profile::texts() const {
  std::vector<counted_text> all;
  if (n_distinct_ > texts_.size()) return all;
  for (const entry& e : entries_) {
    if (e.text != k_no_text) all.push_back({texts_[e.text], e.count, e.line});
  }
  return all;
}

unsigned long column_profile::n_unseen(const column_profile& training,
                                       std::optional<counted_text>& first) const {
  unsigned long n = 0;
  for (const entry& e : entries_) {
    if (e.unknown || training.has(e.hash)) continue;
    n += e.count;
    if (!first) first = {e.text == k_no_text ? "" : texts_[e.text], e.count, e.line};
  }
  return n;
}

}  // namespace orvprep
