// What value sets do for the loader: cells in, codes out, and the codes of all threads in one order
// at the end.
#include <algorithm>
#include <stdexcept>

#include "impls/values/o_set_typed.h"
#include "impls/values/value_ranks.h"
#include "zel/text/text_word.h"

namespace orvik::impls {

namespace {

constexpr char k_insert_local_frozen[] = "oset::insert on a frozen object";  // published wording

/// A memo of this many texts fits in a processor's second cache.
constexpr unsigned long k_memo_texts = 4096;
/// Cells after which a full memo is weighed, and the part of them that it may miss.
constexpr unsigned long k_memo_cells = 4096;
constexpr unsigned long k_memo_misses = 8;

/// Numbers kept by all threads, at most: their ranks are counted in 32 bits.
constexpr std::uint32_t k_most_kept = 1U << 31;

/// The union of two ascending sequences without repetitions.
template <class T, class Local>
void merge_values(const std::vector<T>& values, const std::vector<Local>& locals,
                  std::vector<T>& merged) {
  auto value = values.begin();
  for (const Local& local : locals) {
    while (value != values.end() && *value < local.value) merged.push_back(*value++);
    if (value != values.end() && *value == local.value) ++value;
    merged.push_back(local.value);
  }
  merged.insert(merged.end(), value, values.end());
}

}  // namespace

template <class T>
code_t o_set_typed<T>::insert_local(std::string_view text, unsigned long thread) {
  if (frozen_ && !ordered_) throw std::runtime_error(k_insert_local_frozen);
  if (is_null(text)) return k_unknown;
  if (ordered_) return declared_code(text);
  return insert_into(*thread_maps_[thread], text);
}

/// The memo remembers no more texts than fit in a fast cache.
template <class T>
code_t o_set_typed<T>::insert_into(thread_map& map, std::string_view text) const {
  if constexpr (!k_numeric) {
    return map.texts.insert(text);
  } else {
    if (const text_codes::code known = map.texts.find(text)) return map.code_of_text[known - 1];
    ++map.misses;
    const text_codes::code code = map.numbers.insert(parse(text));  // a bad text stays out
    if (map.texts.size() < k_memo_texts) {
      map.texts.insert(text);
      map.code_of_text.push_back(code);
    }
    return code;
  }
}

/// Gives up a full memo that meets new texts too often.
template <class T>
void o_set_typed<T>::weigh_memo(thread_map& map) const {
  if (map.cells < k_memo_cells || map.texts.size() < k_memo_texts) return;
  map.has_memo = map.misses * k_memo_misses <= map.cells;
  map.cells = map.misses = 0;
}

template <class T>
text_codes::code o_set_typed<T>::code_of_cell(thread_map& map, const cell_batch& cells,
                                              std::size_t row) {
  const std::string_view text = cells[row];
  if (is_null(text)) return k_unknown;
  return static_cast<text_codes::code>(ordered_ ? declared_code(text) : insert_into(map, text));
}

template <class T>
bool o_set_typed<T>::insert_cells(const cell_batch& cells, unsigned long thread,
                                  std::uint32_t* codes) {
  if (frozen_ && !ordered_) throw std::runtime_error(k_insert_local_frozen);
  thread_map& map = *thread_maps_[thread];
  if (keeps_numbers(map)) {
    keep_cells(map, cells);
    return false;
  }
  const text_codes& known = ordered_ ? declared_ : map.texts;
  // The text of the unknown value is in no dictionary.
  for (std::size_t row = 0; row < cells.rows; ++row) {
    const cell& c = cells.at(row);
    text_codes::code code = 0;
    if (c.length <= zel::text::k_word_text) {
      code = known.find_word(zel::text::word_at(cells.text + c.begin, c.length), c.length);
    }
    if (code == 0) {
      codes[row] = code_of_cell(map, cells, row);
    } else {
      codes[row] = k_numeric ? map.code_of_text[code - 1] : code;
    }
  }
  map.cells += cells.rows;
  weigh_memo(map);
  return true;
}

/// Whether cells are worth keeping: hardly one is in the memo.
template <class T>
bool o_set_typed<T>::keeps_numbers(const thread_map& map) const {
  return k_numeric && !map.has_memo && map.n_kept < k_most_kept / thread_maps_.size();
}

template <class T>
T o_set_typed<T>::number_of_cell(const cell_batch& cells, std::size_t row) const {
  if constexpr (std::is_integral_v<T>) {
    const cell& c = cells.at(row);
    std::uint32_t number;
    if (c.length <= zel::text::k_word_text &&
        zel::text::number_of_digits(zel::text::word_at(cells.text + c.begin, c.length), c.length,
                                    number)) {
      return static_cast<T>(number);
    }
  }
  return parse(cells[row]);
}

template <class T>
void o_set_typed<T>::keep_cells(thread_map& map, const cell_batch& cells) {
  if constexpr (k_numeric) {
    T* const to = map.kept.extend(cells.rows);
    for (std::size_t row = 0; row < cells.rows; ++row) {
      if (is_null(cells[row])) {
        map.unknown_kept.push_back(static_cast<std::uint32_t>(map.n_kept + row));
        to[row] = map.numbers.values().front();
      } else {
        to[row] = number_of_cell(cells, row);
      }
    }
    map.n_kept += cells.rows;
  }
}

template <class T>
std::span<const std::uint32_t> o_set_typed<T>::kept_codes(unsigned long thread) const {
  const thread_map& map = *thread_maps_[thread];
  return std::span(kept_codes_).subspan(map.first_kept, map.n_kept);
}

template <class T>
void o_set_typed<T>::set_nthreads(unsigned long n) {
  thread_maps_.clear();
  std::vector<std::uint32_t>().swap(kept_codes_);
  for (unsigned long i = 0; i < n; ++i) thread_maps_.push_back(std::make_unique<thread_map>());
}

template <class T>
void o_set_typed<T>::freeze() {
  if (frozen_) return;
  frozen_ = true;
  if (ordered_) return;  // the declared order holds
  if constexpr (k_numeric) {
    freeze_numbers();
  } else {
    freeze_strings();
  }
}

/// Ranks all numbers together: shared ones, those of the dictionaries, those kept.
template <class T>
void o_set_typed<T>::freeze_numbers() {
  if constexpr (k_numeric) {
    std::vector<growing_array<T>> parts(1);
    for (const auto& [value, code] : codes_) parts[0].append({&value, 1});
    std::size_t at = codes_.size();
    codes_.clear();
    for (const auto& map : thread_maps_) parts[0].append(map->numbers.values());
    for (const auto& map : thread_maps_) parts.push_back(std::move(map->kept));
    ranked_values<T> ranked = rank_values(std::move(parts));
    values_ = std::move(ranked.values);

    for (const auto& map : thread_maps_) {
      const auto first = ranked.ranks.begin() + static_cast<std::ptrdiff_t>(at);
      const std::size_t n = map->numbers.values().size();
      map->final_codes.assign(1, k_unknown);
      map->final_codes.insert(map->final_codes.end(), first,
                              first + static_cast<std::ptrdiff_t>(n));
      at += n;
    }
    for (const auto& map : thread_maps_) {
      map->first_kept = at;
      for (const std::uint32_t unknown : map->unknown_kept) ranked.ranks[at + unknown] = k_unknown;
      at += map->n_kept;
    }
    kept_codes_ = std::move(ranked.ranks);
  }
}

template <class T>
void o_set_typed<T>::freeze_strings() {
  values_.clear();
  for (const auto& [value, code] : codes_) values_.push_back(value);
  std::sort(values_.begin(), values_.end());
  codes_.clear();
  std::vector<std::vector<local_value>> locals;
  for (const auto& map : thread_maps_) {
    locals.push_back(ascending(*map));
    std::vector<T> merged;
    merged.reserve(values_.size() + locals.back().size());
    merge_values(values_, locals.back(), merged);
    values_.swap(merged);
  }
  values_.shrink_to_fit();
  for (std::size_t t = 0; t < thread_maps_.size(); ++t) {
    assign_final_codes(*thread_maps_[t], locals[t]);
  }
}

template <class T>
std::vector<typename o_set_typed<T>::local_value> o_set_typed<T>::ascending(const thread_map& map) {
  std::vector<local_value> sorted;
  if constexpr (!k_numeric) {
    sorted.reserve(map.texts.size());
    char room[8];
    for (text_codes::code c = 1; c <= map.texts.size(); ++c) {
      sorted.push_back({std::string(map.texts.text(c, room)), c});
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const local_value& a, const local_value& b) { return a.value < b.value; });
  }
  return sorted;
}

/// Both sequences ascend: one walk finds the final code of every local one.
template <class T>
void o_set_typed<T>::assign_final_codes(thread_map& map,
                                        const std::vector<local_value>& locals) const {
  map.final_codes.assign(locals.size() + 1, k_unknown);
  std::size_t at = 0;
  for (const local_value& local : locals) {
    while (values_[at] != local.value) ++at;
    map.final_codes[local.code] = at + 1;
  }
}

template <class T>
std::vector<code_t>* o_set_typed<T>::map_insert_to_order(unsigned long thread) {
  if (ordered_) return nullptr;
  auto translation = std::make_unique<std::vector<code_t>>();
  thread_map& map = *thread_maps_[thread];
  translation->swap(map.final_codes);
  if (translation->empty()) translation->push_back(k_unknown);
  auto emptied = std::make_unique<thread_map>();
  emptied->first_kept = map.first_kept;  // the codes of kept cells stay until they are asked for
  emptied->n_kept = map.n_kept;
  thread_maps_[thread] = std::move(emptied);
  return translation.release();
}

#define ORVIK_LOADING_SET(T)                                                                    \
  template code_t o_set_typed<T>::insert_local(std::string_view, unsigned long);                \
  template bool o_set_typed<T>::insert_cells(const cell_batch&, unsigned long, std::uint32_t*); \
  template std::span<const std::uint32_t> o_set_typed<T>::kept_codes(unsigned long) const;      \
  template void o_set_typed<T>::set_nthreads(unsigned long);                                    \
  template void o_set_typed<T>::freeze();                                                       \
  template std::vector<code_t>* o_set_typed<T>::map_insert_to_order(unsigned long)

ORVIK_LOADING_SET(int);
ORVIK_LOADING_SET(unsigned int);
ORVIK_LOADING_SET(float);
ORVIK_LOADING_SET(double);
ORVIK_LOADING_SET(long double);
ORVIK_LOADING_SET(std::string);

#undef ORVIK_LOADING_SET

}  // namespace orvik::impls
