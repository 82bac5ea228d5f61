// What value sets do for columns in memory: all cells at once, and the codes of their values.
#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "impls/values/cell_reader.h"
#include "impls/values/o_set_typed.h"
#include "impls/values/value_ranks.h"
#include "zel/inpout/stream.h"
#include "zel/text/field_split.h"
#include "zel/text/message.h"

namespace orvik::impls {

namespace {

constexpr char k_texts_of_numbers[] = "texts in a column of numbers";
constexpr char k_numbers_of_texts[] = "numbers in a column of texts";
constexpr char k_unadmitted[] = "an unknown value, which the column does not admit";
constexpr char k_no_text[] = "a place behind the texts";
constexpr char k_infinite[] = "an infinite number";
constexpr char k_other_type[] = "a number that the column's type does not have";
constexpr char k_negative_weight[] = "a negative weight";
constexpr char k_no_cell[] = ": a text that no cell of a file holds";
constexpr char k_undeclared_text[] = ": a text that the order does not declare";

[[noreturn]] void fail_at(const char* what, unsigned long row) {
  throw std::runtime_error(what + (" (row " + std::to_string(row + 1) + ")"));
}

/// Whether a cell of a file can hold it.
bool may_be_cell(const std::string& text) {
  return text.size() < zel::inpout::stream::k_max_line && !text.starts_with(' ') &&
         !text.ends_with(' ') && text.find('\n') == text.npos && !zel::text::holds_nul(text);
}

/// Calls take(place) for every row, a place in the texts or -1 for an unknown one.
template <class Take>
void for_each_place(const cell_array& cells, const cell_rows& rows, const Take& take) {
  const auto n_texts = static_cast<std::int64_t>(cells.texts->size());
  if (cells.of == cell_array::NONE) {
    for (unsigned long i = 0; i < rows.size(); ++i) take(std::int64_t{-1});
  }
  visit_cells(cells, [&](const auto& reader) {
    for (unsigned long i = 0; i < rows.size(); ++i) {
      const auto place = static_cast<std::int64_t>(reader[rows[i]]);
      if (place >= n_texts) fail_at(k_no_text, rows[i]);
      take(place < 0 || is_marked_unknown(cells, rows[i]) ? -1 : place);
    }
  });
}

}  // namespace

void o_set::load_cells(const cell_array&, const cell_rows& rows,
                       std::vector<std::uint32_t>& codes) {
  set_has_null(true);
  codes.assign(rows.size(), k_unknown);
}

code_t o_set::code_of_number(long double) const { return k_no_code; }

void o_set::note_unknown(unsigned long row) {
  if (!admits_null()) fail_at(k_unadmitted, row);
  set_has_null(true);
}

template <class T>
void o_set_typed<T>::load_cells(const cell_array& cells, const cell_rows& rows,
                                std::vector<std::uint32_t>& codes) {
  if (cells.texts != nullptr && k_numeric) throw std::runtime_error(k_texts_of_numbers);
  if (cells.texts == nullptr && !k_numeric) throw std::runtime_error(k_numbers_of_texts);
  codes.assign(rows.size(), k_unknown);
  if constexpr (k_numeric) {
    load_numbers(cells, rows, codes);
  } else {
    load_texts(cells, rows, codes);
  }
  frozen_ = true;
}

/// One of the column's type that a file could hold too.
template <class T>
template <class S>
T o_set_typed<T>::number_of(S value, unsigned long row) const {
  if (is_infinite(value)) fail_at(k_infinite, row);
  const T number = number_not_below<T>(value);
  if (!admits_negative() && number < T{0}) fail_at(k_negative_weight, row);
  bool fits = !is_infinite(number);
  if constexpr (std::is_integral_v<T>) {
    const bool lowest = std::is_signed_v<T> && number == std::numeric_limits<T>::lowest();
    fits = static_cast<long double>(number) == static_cast<long double>(value) && !lowest;
  }
  if (!fits) fail_at(k_other_type, row);
  return number;
}

/// The known ones are ranked among themselves.
template <class T>
void o_set_typed<T>::load_numbers(const cell_array& cells, const cell_rows& rows,
                                  std::vector<std::uint32_t>& codes) {
  constexpr std::uint32_t k_known = 1;
  if constexpr (k_numeric) {
    std::vector<growing_array<T>> parts(1);
    T* const all = parts[0].extend(rows.size());
    std::size_t n = 0;
    visit_cells(cells, [&](const auto& reader) {
      for (unsigned long i = 0; i < rows.size(); ++i) {
        const auto value = reader[rows[i]];
        if (is_nan(value) || is_marked_unknown(cells, rows[i])) continue;
        all[n++] = number_of(value, rows[i]);
        codes[i] = k_known;
      }
    });
    if (n < rows.size()) {
      note_unknown(rows[static_cast<unsigned long>(std::ranges::find(codes, 0U) - codes.begin())]);
    }
    parts[0].truncate(n);
    ranked_values<T> ranked = rank_values(std::move(parts));
    auto rank = ranked.ranks.begin();
    for (std::uint32_t& code : codes) {
      if (code == k_known) code = *rank++;
    }
    values_ = std::move(ranked.values);
  }
}

/// Texts that no row has get no code; equal ones the same.
template <class T>
void o_set_typed<T>::load_texts(const cell_array& cells, const cell_rows& rows,
                                std::vector<std::uint32_t>& codes) {
  if constexpr (!k_numeric) {
    const std::vector<std::string>& texts = *cells.texts;
    std::vector<std::uint32_t> code_of(texts.size() + 1);  // behind the unknown one
    unsigned long i = 0;
    for_each_place(cells, rows, [&](std::int64_t place) {
      if (place < 0) note_unknown(rows[i]);
      code_of[static_cast<std::size_t>(place + 1)] = 1;
      codes[i++] = static_cast<std::uint32_t>(place + 1);
    });
    code_of[0] = 0;
    for (std::size_t t = 0; t < texts.size(); ++t) {
      if (code_of[t + 1] == 0) continue;
      if (!may_be_cell(texts[t]) || texts[t] == null_value()) {
        throw std::runtime_error(zel::text::quoted(texts[t]) + k_no_cell);
      }
      if (!ordered_) values_.push_back(texts[t]);
    }
    if (!ordered_) {
      std::sort(values_.begin(), values_.end());
      values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
    }
    for (std::size_t t = 0; t < texts.size(); ++t) {
      if (code_of[t + 1] != 0) code_of[t + 1] = known_code(texts[t]);
    }
    for (std::uint32_t& code : codes) code = code_of[code];
  }
}

template <class T>
std::uint32_t o_set_typed<T>::known_code(const std::string& text) const {
  if constexpr (!k_numeric) {
    if (!ordered_) {
      const auto at = std::lower_bound(values_.begin(), values_.end(), text);
      return static_cast<std::uint32_t>(at - values_.begin()) + 1;
    }
    if (const auto code = declared_.find(text); code != 0) return code;
    throw std::runtime_error(zel::text::quoted(text) + k_undeclared_text);
  }
  return k_unknown;
}

template <class T>
code_t o_set_typed<T>::code_of_number(long double number) const {
  if constexpr (k_numeric) {
    const T near = number_not_below<T>(number);
    if (std::is_integral_v<T> && static_cast<long double>(near) != number) return k_no_code;
    const auto at = std::lower_bound(values_.begin(), values_.end(), near);
    if (at != values_.end() && *at == near) return static_cast<code_t>(at - values_.begin()) + 1;
  }
  return k_no_code;
}

#define ORVIK_MEMORY_SET(T)                                                     \
  template void o_set_typed<T>::load_cells(const cell_array&, const cell_rows&, \
                                           std::vector<std::uint32_t>&);        \
  template code_t o_set_typed<T>::code_of_number(long double) const

ORVIK_MEMORY_SET(int);
ORVIK_MEMORY_SET(unsigned int);
ORVIK_MEMORY_SET(float);
ORVIK_MEMORY_SET(double);
ORVIK_MEMORY_SET(long double);
ORVIK_MEMORY_SET(std::string);

#undef ORVIK_MEMORY_SET

}  // namespace orvik::impls
