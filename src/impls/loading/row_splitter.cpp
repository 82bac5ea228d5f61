#include "impls/loading/row_splitter.h"

#include <array>
#include <bit>
#include <cassert>
#include <cstring>
#include <limits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "zel/inpout/lines.h"
#include "zel/text/field_split.h"

namespace orvik::impls {

namespace {

constexpr std::size_t k_chunk = 64;  // bytes searched at a time

/// A bit for each of the k_chunk bytes that is one of two.
std::uint64_t marks_of(const char* bytes, char a, char b) {
  std::uint64_t marks = 0;
#ifdef __SSE2__
  const __m128i first = _mm_set1_epi8(a), second = _mm_set1_epi8(b);
  for (unsigned i = 0; i < k_chunk; i += 16) {
    const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
    const __m128i either = _mm_or_si128(_mm_cmpeq_epi8(part, first), _mm_cmpeq_epi8(part, second));
    marks |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(either))) << i;
  }
#else
  for (unsigned i = 0; i < k_chunk; ++i) {
    marks |= static_cast<std::uint64_t>(bytes[i] == a || bytes[i] == b) << i;
  }
#endif
  return marks;
}

/// The same for what is left of the text from `at` on.
std::uint64_t marks_from(std::string_view text, std::size_t at, char a, char b) {
  if (text.size() - at >= k_chunk) return marks_of(text.data() + at, a, b);
  const std::size_t left = text.size() - at;
  std::array<char, k_chunk> part{};
  std::memcpy(part.data(), text.data() + at, left);
  return marks_of(part.data(), a, b) & ((std::uint64_t{1} << left) - 1);
}

bool holds(std::string_view text, char byte) {
  return std::memchr(text.data(), byte, text.size()) != nullptr;
}

}  // namespace

row_splitter::row_splitter(char separator, std::size_t columns, bool opens_last)
    : separator_(separator),
      columns_(columns),
      opens_last_(opens_last),
      simple_(separator == ' ' || separator == '\r' || separator == '\n'),
      cells_(columns * cell_batch::k_rows) {}

void row_splitter::start(std::string_view block) {
  assert(block.size() <= std::numeric_limits<std::uint32_t>::max());
  text_ = block;
  at_ = 0;
  has_blanks_ = holds(block, ' ');
  has_nul_ = holds(block, '\0');
}

cell_batch row_splitter::column(std::size_t c) const {
  assert(c < columns_ && rows_ * columns_ <= end_);
  return {text_.data(), cells_.data() + c, columns_, rows_};
}

std::size_t row_splitter::next() {
  stopped_ = false;
  rows_ = row_ = end_ = 0;
  begin_ = at_;
  return rows_ = simple_ ? find_rows_simply() : find_rows();
}

std::size_t row_splitter::find_rows() {
  const char* const text = text_.data();
  for (std::size_t base = at_; base < text_.size(); base += k_chunk) {
    for (std::uint64_t marks = marks_from(text_, base, separator_, '\n'); marks != 0;
         marks &= marks - 1) {
      const std::size_t stop = base + static_cast<std::size_t>(std::countr_zero(marks));
      if (text[stop] == '\n') {
        if (!end_row(stop)) return rows_;
        at_ = begin_ = stop + 1;
        if (rows_ == cell_batch::k_rows) return rows_;
      } else if (end_ - row_ < columns_) {
        cells_[end_++] = {static_cast<std::uint32_t>(begin_),
                          static_cast<std::uint32_t>(stop - begin_)};
        begin_ = stop + 1;
      } else {
        std::string_view rest = text_.substr(at_);
        refuse(zel::inpout::take_line(rest));  // too many fields
        return rows_;
      }
    }
  }
  if (at_ < text_.size() && end_row(text_.size())) at_ = text_.size();
  return rows_;
}

/// The same through split_fields().
std::size_t row_splitter::find_rows_simply() {
  while (at_ < text_.size() && rows_ < cell_batch::k_rows) {
    std::string_view rest = text_.substr(at_);
    const std::string_view line = zel::inpout::take_line(rest);
    zel::text::split_fields(line, separator_, /*trim=*/true, fields_);
    if (fields_.size() != columns_ || !accept(line)) {
      refuse(line);
      return rows_;
    }
    for (const std::string_view field : fields_) {
      const auto begin = field.empty() ? 0 : static_cast<std::size_t>(field.data() - text_.data());
      cells_[end_++] = {static_cast<std::uint32_t>(begin),
                        static_cast<std::uint32_t>(field.size())};
    }
    ++rows_;
    at_ = text_.size() - rest.size();
  }
  return rows_;
}

/// Ends the row whose line end is at `feed`. @return false when it is a bad one.
bool row_splitter::end_row(std::size_t feed) {
  std::size_t stop = feed;
  if (stop > at_ && text_[stop - 1] == '\r') --stop;
  const std::string_view line = text_.substr(at_, stop - at_);
  std::size_t fields = end_ - row_;
  if (begin_ < stop || fields == 0 || opens_last_) {
    if (fields++ < columns_) {
      cells_[end_++] = {static_cast<std::uint32_t>(begin_),
                        static_cast<std::uint32_t>(stop - begin_)};
    }
  }
  if (fields != columns_ || !accept(line)) {
    refuse(line);
    return false;
  }
  if (has_blanks_) trim_row();
  row_ = end_;
  ++rows_;
  return true;
}

bool row_splitter::accept(std::string_view line) const {
  return !(line.empty() && columns_ != 1) && !(has_nul_ && zel::text::holds_nul(line));
}

void row_splitter::refuse(std::string_view line) {
  stopped_ = true;
  bad_line_ = line;
}

void row_splitter::trim_row() {
  for (std::size_t i = row_; i < end_; ++i) {
    auto& [begin, length] = cells_[i];
    while (length > 0 && text_[begin] == ' ') ++begin, --length;
    while (length > 0 && text_[begin + length - 1] == ' ') --length;
  }
}

}  // namespace orvik::impls
