#include "column_profile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <stdexcept>
#include <unordered_set>

#include "zel/text/hash.h"

namespace orvprep {

namespace {

constexpr char k_too_many[] = "too many different values in a column";
constexpr std::size_t k_most_entries = 0xfffffffe;

/// For every byte the bit of the separator that it is, and one of control characters.
constexpr unsigned k_control_mark = 1U << k_separators.size();
constexpr std::array<std::uint8_t, 256> k_marks = [] {
  std::array<std::uint8_t, 256> marks{};
  for (std::size_t c = 0; c < 0x20; ++c) marks[c] = k_control_mark;
  marks[0x7f] = k_control_mark;
  for (std::size_t i = 0; i < k_separators.size(); ++i) {
    marks[static_cast<unsigned char>(k_separators[i])] |= 1U << i;
  }
  return marks;
}();

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

/// Gives every entry a slot of so many, a power of two.
void column_profile::index(std::size_t n_slots) const {
  slots_.assign(n_slots, {});
  const std::size_t mask = n_slots - 1;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    std::size_t at = entries_[i].hash & mask;
    while (slots_[at].entry != 0) at = (at + 1) & mask;
    slots_[at] = {static_cast<std::uint32_t>(entries_[i].hash >> 32),
                  static_cast<std::uint32_t>(i + 1)};
  }
  n_indexed_ = entries_.size();
}

bool column_profile::has(std::uint64_t hash) const {
  if (n_indexed_ < entries_.size()) index(std::bit_ceil(2 * entries_.size()));
  return slots_[probe(hash)].entry != 0;
}

void column_profile::add_different(std::string_view text, unsigned long line, unsigned long count) {
  n_cells_ += count;
  append(text, zel::text::hash_of(text), line);
  entries_.back().count = count;
}

void column_profile::add_numbers(unsigned long n, unsigned long n_distinct, double lowest,
                                 double highest, unsigned marks) {
  n_cells_ += n;
  const bool reals = (marks & k_has_reals) != 0;
  for (const double value : {lowest, highest}) {
    by_point_.add({reals ? number_kind::real : number_kind::integer, value});
  }
  const unsigned long n_texts = n_known_;
  n_known_ = by_point_.has_reals ? std::max(n_texts, n_distinct) : n_distinct;
  differs_ = differs_ || (marks & k_has_groups) != 0;
  format_set formats = k_all_formats;
  if (marks & k_has_groups) formats &= formats_with('.') | bit_of(3);
  if (marks & k_has_points) formats &= formats_with('.');
  formats_ &= formats;
  common_formats_ &= formats;
}

void column_profile::add(std::string_view text, unsigned long line, unsigned long count) {
  n_cells_ += count;
  if (!batch_.empty() && text == text_of(batch_.back())) {
    batch_.back().count += count;
    return;
  }
  if (batch_.size() == k_batch) look_up_batch();
  batch_.push_back({zel::text::hash_of(text), count, line, batch_text_.size(), text.size()});
  batch_text_ += text;
}

void column_profile::look_up_batch() {
  const std::size_t needed = 2 * (entries_.size() + batch_.size());
  if (needed > slots_.size()) index(std::bit_ceil(needed));
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
    append(text_of(p), p.hash, p.line);
    s = {static_cast<std::uint32_t>(p.hash >> 32), static_cast<std::uint32_t>(entries_.size())};
    ++n_indexed_;
  }
  entries_[s.entry - 1].count += p.count;
}

void column_profile::append(std::string_view text, std::uint64_t hash, unsigned long line) {
  if (entries_.size() == k_most_entries) throw std::runtime_error(k_too_many);
  entries_.push_back({hash, 0, line, k_no_text, sort::known, 0});
  classify(entries_.back(), text, line);
}

/// A text that was not met before.
void column_profile::classify(entry& e, std::string_view text, unsigned long line) {
  const auto at = static_cast<std::uint32_t>(&e - entries_.data());
  if (rules_->unknown.has(text)) {
    e.is = sort::unknown;
    unknown_.push_back(at);
    keep(e, text);
  } else if (rules_->in_numbers.has(text)) {
    e.is = sort::doubtful;
    doubtful_.push_back(at);
    keep(e, text);
  } else {
    if (++n_known_ <= most_texts_) keep(e, text);
    classify_known(e, text, line);
  }
}

void column_profile::keep(entry& e, std::string_view text) {
  e.text = static_cast<std::uint32_t>(texts_.size());
  texts_.emplace_back(text);
}

void column_profile::classify_known(entry& e, std::string_view text, unsigned long line) {
  const number_reading r = reading_of(text);
  e.formats = r.formats;
  if (const format_set lost = formats_ & static_cast<format_set>(~r.formats); lost != 0) {
    misfits_.emplace_back(lost, counted_text{std::string(text), 1, line});
    formats_ &= r.formats;
  }
  // Plain numbers hold no separator, and nothing that breaks the form.
  if ((r.formats & bit_of(0)) == 0) note_text(text);
  if (r.formats == 0) return;
  if (r.formats != k_all_formats && !first_marked_) first_marked_ = {std::string(text), 1, line};
  common_formats_ &= r.formats;
  differs_ = differs_ || r.differs();
  by_point_.add(r.by_point);
  by_comma_.add(r.by_comma);
}

/// What of a text cannot be written as it stands.
void column_profile::note_text(std::string_view text) {
  unsigned marks = 0;
  for (const char c : text) marks |= k_marks[static_cast<unsigned char>(c)];
  separators_ |= marks;
  const bool may_break = (marks & k_control_mark) != 0 || rules_->out_separator != 0;
  if (!may_break || !rules_->breaks_form(text)) return;
  ++n_replaced_;
  replaced_.emplace_back(zel::text::hash_of(rules_->written(text)), text);
}

void column_profile::values::add(const number& n) {
  if (n.kind == number_kind::none) return;
  has_reals = has_reals || n.kind == number_kind::real;
  lowest = any ? std::min(lowest, n.value) : n.value;
  highest = any ? std::max(highest, n.value) : n.value;
  any = true;
}

std::pair<number_format, unsigned long> column_profile::best_format(format_set allowed) const {
  std::array<unsigned long, k_number_formats.size()> counts{};
  for (const entry& e : entries_) {
    for (std::size_t f = 0; f < counts.size(); ++f) {
      if (e.is == sort::known && (e.formats & allowed & bit_of(f))) counts[f] += e.count;
    }
  }
  const auto best = std::ranges::max_element(counts);  // the first of equals
  return {k_number_formats[static_cast<std::size_t>(best - counts.begin())], *best};
}

std::optional<counted_text> column_profile::first_misfit(number_format format) const {
  const auto at = std::ranges::find(k_number_formats, format) - k_number_formats.begin();
  for (const auto& [lost, text] : misfits_) {
    if (lost & bit_of(static_cast<std::size_t>(at))) return text;
  }
  return {};
}

bool column_profile::holds(char separator) const {
  return (separators_ >> k_separators.find(separator) & 1) != 0;
}

unsigned long column_profile::n_unknown() const {
  unsigned long n = 0;
  for (const std::uint32_t e : unknown_) n += entries_[e].count;
  for (const std::uint32_t e : doubtful_) n += reading_.numbers ? entries_[e].count : 0;
  return n;
}

std::vector<counted_text> column_profile::unknown_texts() const {
  std::vector<counted_text> all;
  for (const std::uint32_t e : unknown_) all.push_back(text_of(entries_[e]));
  for (const std::uint32_t e : doubtful_) {
    if (reading_.numbers) all.push_back(text_of(entries_[e]));
  }
  std::ranges::sort(all, {}, &counted_text::line);
  return all;
}

std::optional<counted_text> column_profile::first_unknown() const {
  const std::vector<counted_text> all = unknown_texts();
  return all.empty() ? std::nullopt : std::optional(all[0]);
}

std::vector<counted_text> column_profile::doubtful_values() const {
  std::vector<counted_text> all;
  for (const std::uint32_t e : doubtful_) {
    if (!reading_.numbers) all.push_back(text_of(entries_[e]));
  }
  return all;
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
  if (n_distinct() > most_texts_) return all;
  for (const entry& e : entries_) {
    if (is_known(e)) all.push_back(text_of(e));
  }
  return all;
}

unsigned long column_profile::n_unseen(const column_profile& training,
                                       std::optional<counted_text>& first) const {
  unsigned long n = 0;
  for (const entry& e : entries_) {
    if (!is_known(e) || training.has(e.hash)) continue;
    n += e.count;
    if (!first) first = text_of(e);
  }
  return n;
}

}  // namespace orvprep
