#include "impls/loading/open_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>

#include "impls/loading/fill_table.h"
#include "impls/loading/row_splitter.h"
#include "impls/values/o_set_typed.h"
#include "impls/values/value_ranks.h"

namespace orvik::impls {

namespace {

constexpr char k_no_rows[] = "no rows of known class";
constexpr char k_no_numbers[] = "numbers are to become values of another type: ";

constexpr unsigned long k_most_readers = 256;
/// Codes on their way into a column, as many as fit in the fastest cache.
constexpr std::size_t k_cells = 1024;

bool any(const std::vector<bool>& flags) { return std::ranges::find(flags, true) != flags.end(); }

/// What one worker reads.
class reader {
 public:
  std::vector<open_cells> cells;  // by column
  std::vector<open_block> blocks;

  /// Cuts a block, which it extends. @return false for rows of another form.
  bool read(std::string& text, row_splitter& rows, open_block block,
            const std::vector<bool>& as_texts, const row_text& from, std::vector<bool>& texts) {
    const std::size_t size = text.size();
    text.append(cell_batch::k_readable, '\0');
    for (open_cells& c : cells) block.begins.push_back(c.codes.end_chunk());
    rows.start(std::string_view(text).substr(0, size));
    do {
      const std::size_t n = rows.next();
      if (n == 0) break;
      const row_place first{block.number, static_cast<std::uint32_t>(block.rows)};
      for (std::size_t i = 0; i < cells.size(); ++i) {
        if (!cells[i].insert(rows.column(i), first, as_texts[i], from)) texts[i] = true;
      }
      block.rows += n;
    } while (!rows.stopped() && !any(texts));
    blocks.push_back(std::move(block));
    return !rows.stopped();
  }
};

bool is_whole(double value) {
  return std::abs(value) < std::numeric_limits<int>::max() && value == static_cast<int>(value);
}

/// Integers are ranked faster.
ranked_values<double> ranked_as_integers(std::vector<growing_array<double>> parts) {
  std::vector<growing_array<int>> whole(parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    int* const to = whole[i].extend(parts[i].size());
    std::ranges::transform(parts[i], to, [](double value) { return static_cast<int>(value); });
    parts[i].release();
  }
  ranked_values<int> ranked = rank_values(std::move(whole));
  return {{ranked.values.begin(), ranked.values.end()}, std::move(ranked.ranks)};
}

ranked_values<double> ranked(std::vector<growing_array<double>> parts) {
  const auto are_whole = [](const auto& part) { return std::ranges::all_of(part, is_whole); };
  return std::ranges::all_of(parts, are_whole) ? ranked_as_integers(std::move(parts))
                                               : rank_values(std::move(parts));
}

template <class T>
void adopt_as(o_set& values, const std::vector<double>& numbers) {
  dynamic_cast<o_set_typed<T>&>(values).adopt(std::vector<T>(numbers.begin(), numbers.end()));
}

void adopt(o_set& values, const std::vector<double>& numbers) {
  if (values.type() == "integer" && std::ranges::all_of(numbers, is_whole)) {
    adopt_as<int>(values, numbers);
  } else if (values.type() == "double") {
    adopt_as<double>(values, numbers);
  } else {
    throw std::runtime_error(k_no_numbers + values.type());
  }
}

unsigned long row_of(row_place place, const std::vector<open_block>& blocks) {
  return blocks[place.block].first_row + place.row;
}

/// Adds the texts of a reader to those of the column.
void add_texts(open_column& c, open_cells& part, const std::vector<open_block>& blocks) {
  const std::vector<unsigned long> counts = part.counts();
  std::vector<open_column::code>& of_local = c.of_local.emplace_back(counts.size());
  char room[8];
  for (open_column::code local = 1; local < counts.size(); ++local) {
    const open_column::code text = c.texts.insert(part.texts.text(local, room));
    const unsigned long first = row_of(part.firsts[local - 1], blocks);
    of_local[local] = text;
    if (text > c.counts.size()) {
      c.counts.push_back(0);
      c.first_rows.push_back(first);
    }
    c.counts[text - 1] += counts[local];
    c.first_rows[text - 1] = std::min(c.first_rows[text - 1], first);
  }
}

/// Those of the first one are taken as they are.
void take_texts(open_column& c, open_cells& part, const std::vector<open_block>& blocks) {
  std::vector<unsigned long> counts = part.counts();
  std::vector<open_column::code>& same = c.of_local.emplace_back(counts.size());
  for (open_column::code text = 0; text < same.size(); ++text) same[text] = text;
  c.counts.assign(counts.begin() + 1, counts.end());
  for (const row_place& first : part.firsts) c.first_rows.push_back(row_of(first, blocks));
  c.texts = std::move(part.texts);
}

/// Ranks the numbers of texts and those kept together. @return false where some text is no number.
bool rank_numbers(open_column& c, const row_text& rows) {
  std::vector<growing_array<double>> parts(1);
  std::vector<open_column::code> numbers;
  char room[8];
  unsigned no_marks = 0;
  for (open_column::code text = 1; text <= c.texts.size(); ++text) {
    double value = 0;
    const auto is = rows.read(c.texts.text(text, room), value, no_marks);
    if (is == row_text::cell_kind::text) return false;
    if (is == row_text::cell_kind::unknown) continue;
    numbers.push_back(text);
    parts[0].append({&value, 1});
  }
  std::size_t at = numbers.size();
  for (open_cells& part : c.parts) {
    c.first_kept.push_back(at);
    at += part.kept.size();
    c.marks |= part.marks;
    parts.push_back(std::move(part.kept));
  }
  ranked_values<double> all = ranked(std::move(parts));
  c.text_ranks.assign(c.texts.size(), 0);
  for (std::size_t i = 0; i < numbers.size(); ++i) c.text_ranks[numbers[i] - 1] = all.ranks[i];
  for (std::size_t p = 0; p < c.parts.size(); ++p) {
    for (const auto& u : c.parts[p].unknown) all.ranks[c.first_kept[p] + u.at] = 0;
  }
  c.values = std::move(all.values);
  c.kept_ranks = std::move(all.ranks);
  return true;
}

/// @return false where it has texts among kept numbers.
bool merge_column(open_column& c, const row_text& rows, const std::vector<open_block>& blocks) {
  c.has_numbers = std::ranges::any_of(c.parts, &open_cells::keeps_numbers);
  for (open_cells& part : c.parts) {
    &part == c.parts.data() ? take_texts(c, part, blocks) : add_texts(c, part, blocks);
  }
  return !c.has_numbers || rank_numbers(c, rows);
}

}  // namespace

/// All workers at the blocks of the text.
class open_table::reading {
 public:
  reading(row_text& rows, const std::vector<bool>& as_texts, bool opens_last,
          zel::util::run_context& run)
      : texts(as_texts.size()),
        rows_(rows),
        as_texts_(as_texts),
        opens_last_(opens_last),
        run_(run) {
    readers.resize(std::min(run.n_slots(), k_most_readers));
    for (reader& each : readers) each.cells.resize(as_texts.size());
  }

  void read() {
    rows_.rewind();
    run_.with_workers(
        [this] { run_.for_each_index(readers.size(), [this](unsigned long i) { read(i); }); });
    if (failure_) std::rethrow_exception(failure_);
  }

  std::vector<reader> readers;
  std::vector<bool> texts;  // columns of texts among numbers that were kept
  bool fits = true;

 private:
  using splitters = std::map<char, row_splitter>;  // by separator: there are two at most

  void read(unsigned long i) {
    std::vector<bool> with_texts(as_texts_.size());
    std::exception_ptr failure;
    bool good = true;
    try {
      good = read_blocks(i, with_texts);
    } catch (...) {
      failure = std::current_exception();
    }
    if (good && !failure && !any(with_texts)) return;
    const std::lock_guard guard(lock_);
    ended_ = true;
    fits = fits && good;
    if (!failure_) failure_ = failure;
    for (std::size_t c = 0; c < texts.size(); ++c) texts[c] = texts[c] || with_texts[c];
  }

  /// @return false for rows of another form.
  bool read_blocks(unsigned long i, std::vector<bool>& with_texts) {
    splitters cutters;
    std::string text;
    open_block block;
    block.reader = i;
    while (!any(with_texts) && take(text, block.number)) {
      char separator = 0;
      if (!rows_.prepare(text, separator)) return false;
      row_splitter& cutter =
          cutters.try_emplace(separator, separator, as_texts_.size(), opens_last_).first->second;
      if (!readers[i].read(text, cutter, block, as_texts_, rows_, with_texts)) return false;
      run_.count(zel::util::progress::unit::rows, readers[i].blocks.back().rows);
    }
    return true;
  }

  bool take(std::string& text, std::uint32_t& number) {
    const std::lock_guard guard(lock_);
    if (ended_ || n_blocks_ == std::numeric_limits<std::uint32_t>::max()) return false;
    number = n_blocks_++;
    ended_ = !rows_.next(text);
    return !ended_;
  }

  std::mutex lock_;  // guards what follows, the text and the results
  row_text& rows_;
  const std::vector<bool>& as_texts_;
  bool opens_last_;
  zel::util::run_context& run_;
  std::uint32_t n_blocks_ = 0;
  bool ended_ = false;
  std::exception_ptr failure_;
};

bool open_table::read(row_text& rows, std::vector<bool>& as_texts, bool opens_last) {
  for (;;) {
    reading all(rows, as_texts, opens_last, run_);
    all.read();
    if (!all.fits) return false;
    if (any(all.texts)) {
      for (std::size_t i = 0; i < as_texts.size(); ++i) as_texts[i] = as_texts[i] || all.texts[i];
      continue;
    }
    blocks_.clear();
    columns_ = std::vector<open_column>(as_texts.size());
    for (reader& r : all.readers) {
      std::ranges::move(r.blocks, std::back_inserter(blocks_));
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        columns_[i].parts.push_back(std::move(r.cells[i]));
      }
    }
    if (merge(as_texts, rows)) return true;
  }
}

/// @return false where columns were added to `as_texts`.
bool open_table::merge(std::vector<bool>& as_texts, const row_text& rows) {
  std::ranges::sort(blocks_, {}, &open_block::number);
  n_rows_ = 0;
  for (open_block& b : blocks_) {
    b.first_row = n_rows_;
    n_rows_ += b.rows;
  }
  std::vector<unsigned char> good(columns_.size());
  run_.with_workers([&] {
    run_.for_each_index(columns_.size(), [&](unsigned long i) {
      good[i] = merge_column(columns_[i], rows, blocks_) ? 1 : 0;
    });
  });
  for (std::size_t i = 0; i < good.size(); ++i) as_texts[i] = as_texts[i] || good[i] == 0;
  return std::ranges::find(good, 0) == good.end();
}

/// From texts and ranks to the codes of a column.
struct open_table::final_column {
  std::vector<std::vector<code_t>> of_local;  // by reader, by local code
  std::vector<code_t> of_rank;                // none: a rank is a code

  /// `of_text`: by text code.
  final_column(const open_column& c, const std::vector<code_t>& of_text) {
    for (const auto& texts : c.of_local) {
      std::vector<code_t>& codes = of_local.emplace_back();
      for (const open_column::code text : texts) codes.push_back(of_text[text]);
    }
  }
};

namespace {

template <class Code>
void translate(const Code* from, std::size_t n, const std::vector<code_t>& finals, code_t* to) {
  for (std::size_t i = 0; i < n; ++i) to[i] = finals[from[i]];
}

}  // namespace

/// Calls use(first row, codes) for all rows in their order, some at a time.
template <class Use>
void open_table::for_each_code(unsigned long i, const final_column& finals, Use use) const {
  const open_column& c = columns_[i];
  std::array<code_t, k_cells> codes;
  for (const open_block& b : blocks_) {
    const cell_codes& all = c.parts[b.reader].codes;
    const std::vector<code_t>& of_local = finals.of_local[b.reader];
    unsigned long row = b.first_row;
    for (std::size_t k = b.begins[i]; row < b.first_row + b.rows; ++k) {
      const cell_codes::chunk& chunk = all.at(k);
      for (std::size_t at = 0; at < chunk.cells; at += k_cells) {
        const std::size_t n = std::min(k_cells, chunk.cells - at);
        if (chunk.width == 0) {
          const auto* const ranks = c.kept_ranks.data() + c.first_kept[b.reader] + chunk.begin + at;
          finals.of_rank.empty() ? void(std::copy(ranks, ranks + n, codes.data()))
                                 : translate(ranks, n, finals.of_rank, codes.data());
        } else if (chunk.width == 1) {
          translate(all.codes<std::uint8_t>(chunk) + at, n, of_local, codes.data());
        } else if (chunk.width == 2) {
          translate(all.codes<std::uint16_t>(chunk) + at, n, of_local, codes.data());
        } else {
          translate(all.codes<std::uint32_t>(chunk) + at, n, of_local, codes.data());
        }
        use(row, std::span<const code_t>(codes.data(), n));
        row += n;
      }
    }
  }
}

/// The texts, by code, and behind them the values, by rank, that some of the rows have; 0 is an
/// unknown kept cell.
open_table::row_flags open_table::used_by(unsigned long i, const row_flags& rows) const {
  const open_column& c = columns_[i];
  const std::size_t n_texts = c.texts.size();
  row_flags used(n_texts + 1 + c.values.size(), rows.empty());
  used[0] = false;
  if (rows.empty()) return used;
  std::vector<code_t> same(n_texts + 1);
  for (std::size_t t = 0; t < same.size(); ++t) same[t] = t;
  final_column ids(c, same);
  for (std::size_t r = 0; r <= c.values.size(); ++r)
    ids.of_rank.push_back(r == 0 ? 0 : n_texts + r);
  for_each_code(i, ids, [&](unsigned long row, std::span<const code_t> codes) {
    for (const code_t id : codes) used[id] = used[id] || rows[row], ++row;
  });
  return used;
}

open_table::row_flags open_table::known_rows(const table& to, const cell_writer& write) const {
  const unsigned long at = to.class_index();
  const open_column& c = columns_[at];
  std::vector<code_t> is_known(c.texts.size() + 1);
  std::string written;
  char room[8];
  for (open_column::code t = 1; t < is_known.size(); ++t) {
    written.clear();
    write(at, c.texts.text(t, room), written);
    is_known[t] = written != to.class_column().values()->null_value();
  }
  if (std::find(is_known.begin() + 1, is_known.end(), 0) == is_known.end()) return {};
  row_flags known(n_rows_);
  for_each_code(at, final_column(c, is_known),
                [&](unsigned long row, std::span<const code_t> codes) {
                  for (const code_t code : codes) known[row++] = code != 0;
                });
  return known;
}

namespace {

/// The codes of the texts that are used, which become the values of the set.
std::vector<code_t> codes_of_texts(const open_column& c, unsigned long i, o_set& values,
                                   const cell_writer& write, const std::vector<bool>& used) {
  std::vector<code_t> codes(c.texts.size() + 1, k_unknown);
  std::string written;
  char room[8];
  values.set_nthreads(1);
  for (open_column::code t = 1; t < codes.size(); ++t) {
    if (!used[t]) continue;
    written.clear();
    write(i, c.texts.text(t, room), written);
    codes[t] = values.insert_local(written, 0);
  }
  values.freeze();
  const std::unique_ptr<std::vector<code_t>> finals(values.map_insert_to_order(0));
  for (code_t& code : codes) code = finals ? (*finals)[code] : code;
  values.set_nthreads(0);
  return codes;
}

/// The codes of ranks; the values that are used become those of the set.
std::vector<code_t> codes_of_ranks(const open_column& c, o_set& values,
                                   const std::vector<bool>& used) {
  const std::size_t n_texts = c.texts.size();
  std::vector<bool> has(used.begin() + static_cast<std::ptrdiff_t>(n_texts), used.end());
  has[0] = used[0];
  for (std::size_t t = 1; t <= n_texts; ++t) {
    if (used[t]) has[c.text_ranks[t - 1]] = true;
  }
  values.set_has_null(has[0]);
  std::vector<code_t> codes(has.size(), k_unknown);
  std::vector<double> numbers;
  for (std::size_t rank = 1; rank < has.size(); ++rank) {
    if (!has[rank]) continue;
    numbers.push_back(c.values[rank - 1]);
    codes[rank] = numbers.size();
  }
  adopt(values, numbers);
  return codes;
}

}  // namespace

std::unique_ptr<column> open_table::finish(unsigned long i, column& empty, const cell_writer& write,
                                           const row_flags& rows) const {
  const open_column& c = columns_[i];
  o_set& values = *empty.values();
  if (values.type() == "null") {
    values.set_has_null(true);
    return empty.refitted();
  }
  const row_flags used = used_by(i, rows);
  std::vector<code_t> of_text, of_rank;
  if (c.has_numbers) {
    of_rank = codes_of_ranks(c, values, used);
    of_text.push_back(k_unknown);
    for (const std::uint32_t rank : c.text_ranks) of_text.push_back(of_rank[rank]);
  } else {
    of_text = codes_of_texts(c, i, values, write, used);
  }
  final_column finals(c, of_text);
  if (!rows.empty()) finals.of_rank.swap(of_rank);
  std::unique_ptr<column> full = empty.refitted();
  full->reserve(n_rows_);
  for_each_code(i, finals, [&](unsigned long row, std::span<const code_t> codes) {
    if (rows.empty()) return full->append(codes);
    for (const code_t code : codes) {
      if (rows[row++]) full->push_back(code);
    }
  });
  return full;
}

unsigned long open_table::fill(table& to, const cell_writer& write) const {
  const row_flags known = known_rows(to, write);
  const unsigned long n =
      known.empty() ? n_rows_ : static_cast<unsigned long>(std::ranges::count(known, true));
  if (n == 0) throw std::runtime_error(k_no_rows);
  fill_table(
      to, n, [&](unsigned long i, column& empty) { return finish(i, empty, write, known); }, run_);
  return n_rows_ - n;
}

}  // namespace orvik::impls
