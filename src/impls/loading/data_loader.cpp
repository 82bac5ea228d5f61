// Rows of text into columns of codes, in two parallel phases.
//
// Phase 1: every worker takes blocks of whole lines from the shared connection, cuts them into
// batches of rows, gives each column's cells of a batch to its own dictionary of that column, and
// stores the local codes. Blocks are numbered in the order of the file. Phase 2: column by column,
// the dictionaries are merged and sorted, the storage width is chosen, and the codes are
// translated block by block in the order of the file.
// So rows, codes and errors are the same for any number of workers.
//
// A table larger than memory is loaded in pieces: both phases for some blocks, then for the next.
#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <limits>
#include <mutex>
#include <new>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "impls/loading/cell_codes.h"
#include "impls/loading/duplicate_names.h"
#include "impls/loading/fill_table.h"
#include "impls/loading/final_codes.h"
#include "impls/loading/load_piece.h"
#include "impls/loading/row_splitter.h"
#include "impls/tables/table.h"
#include "zel/text/message.h"
#include "zel/util/cronos.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_no_rows_stream[] = "no data provider detected.";
constexpr char k_no_columns[] = "rows cannot be loaded before the metadata";
constexpr char k_has_rows[] = "the table has its rows already";
constexpr char k_fixed_values[] = "rows cannot be loaded into a table whose values are fixed";
constexpr char k_no_rows[] = "there must be at least one row of data";

/// The workers of a load: never more than there are threads for them.
unsigned long n_loading(unsigned long workers, const zel::util::run_context& run) {
  constexpr unsigned long k_most = 256;
  return std::clamp(std::min(workers, run.n_slots()), 1UL, k_most);
}

using zel::inpout::stream;

/// Where a cell is, for a message.
std::string cell_position(unsigned long row, const std::string& column) {
  return " (row " + std::to_string(row) + ", column " + column + ")";
}

/// Lines of one refill of a worker's stream.
struct block {
  unsigned long number = 0;
  unsigned long rows = 0;
  std::vector<std::size_t> begins;  // by column, in the chunks of the worker's codes
};

/// What stopped a worker, and where in the file.
struct load_error {
  enum kind { INPUT, ROW, CELL } place;
  unsigned long block;
  unsigned long line;  // within the block, from 0
  std::string what;    // for a row: the line
  std::string column;  // for a cell
};

/// The least number of a block with an error; workers leave later blocks alone.
using error_limit = std::atomic<unsigned long>;
constexpr unsigned long k_after_all_blocks = std::numeric_limits<unsigned long>::max();

/// Bytes of text that are still to be read; below 0 where the last block had more.
using bytes_left = std::atomic<long>;

class worker {
 public:
  using columns = std::vector<std::unique_ptr<column>>;

  /// Reads beside `input` from its connection.
  worker(const stream& input, unsigned long slot, zel::util::run_context& run)
      : in_(std::make_unique<stream>(input.connection(), input.separator(), /*owns=*/false,
                                     input.sizes())),
        slot_(slot),
        run_(run) {}

  /// Reads until the input ends, enough was read or an earlier block is known to be bad.
  void run(const columns& all, error_limit& limit, bytes_left& left) {
    codes_.resize(all.size());
    row_splitter rows(in_->separator(), all.size());
    try {
      while (left.load(std::memory_order_relaxed) > 0 && in_->next_block()) {
        left -= static_cast<long>(in_->block().size());
        if (in_->block_number() > limit.load(std::memory_order_relaxed)) return;
        read_block(all, rows);
        if (error_) break;
      }
    } catch (const std::bad_alloc&) {
      lower(limit, 0);  // stops the other workers
      throw;
    } catch (const std::exception& failure) {  // the connection failed
      error_ = load_error{load_error::INPUT, in_->block_number(), 0, failure.what(), {}};
    }
    if (error_) lower(limit, error_->block);
    bytes_ = in_->bytes_read();
    in_.reset();  // its buffer is large
  }

  const std::vector<block>& blocks() const { return blocks_; }
  const std::optional<load_error>& error() const { return error_; }
  cell_codes& codes(std::size_t column) { return codes_[column]; }
  unsigned long bytes() const { return bytes_; }
  unsigned long rows() const {
    unsigned long sum = 0;
    for (const block& b : blocks_) sum += b.rows;
    return sum;
  }

 private:
  static void lower(error_limit& limit, unsigned long to) {
    unsigned long seen = limit.load();
    while (to < seen && !limit.compare_exchange_weak(seen, to)) {
    }
  }

  void read_block(const columns& all, row_splitter& rows) {
    assert(blocks_.empty() || blocks_.back().number < in_->block_number());
    block& next = blocks_.emplace_back(block{in_->block_number(), 0, {}});
    next.begins.reserve(codes_.size());
    for (cell_codes& c : codes_) next.begins.push_back(c.end_chunk());
    rows.start(in_->block());
    do {
      const std::size_t n = rows.next();
      if (n == 0) break;
      insert_rows(all, rows, n);
      if (error_) return;
      next.rows += n;
    } while (!rows.stopped());
    run_.count(zel::util::progress::unit::rows, next.rows);
    if (rows.stopped()) fail(load_error::ROW, 0, std::string(rows.bad_line().substr(0, 256)), {});
  }

  void insert_rows(const columns& all, const row_splitter& rows, std::size_t n) {
    std::array<cell_codes::code, cell_batch::k_rows> codes;
    try {
      for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i]->values()->insert_cells(rows.column(i), slot_, codes.data())) {
          codes_[i].append({codes.data(), n});
        } else {
          codes_[i].append_kept(n);
        }
      }
    } catch (const std::runtime_error&) {  // a value; lack of memory has no row
      find_bad_cell(all, rows, n);
      if (!error_) throw;
    }
  }

  /// The first one row by row, while batches are inserted column by column.
  void find_bad_cell(const columns& all, const row_splitter& rows, std::size_t n) {
    for (std::size_t row = 0; row < n; ++row) {
      for (std::size_t i = 0; i < all.size(); ++i) {
        try {
          all[i]->values()->insert_local(rows.column(i)[row], slot_);
        } catch (const std::runtime_error& failure) {
          return fail(load_error::CELL, row, failure.what(), all[i]->name());
        }
      }
    }
  }

  /// `row`: behind the rows of the block that are read.
  void fail(load_error::kind place, unsigned long row, std::string what, std::string column) {
    const block& b = blocks_.back();
    error_ = load_error{place, b.number, b.rows + row, std::move(what), std::move(column)};
  }

  std::unique_ptr<stream> in_;
  unsigned long slot_;
  zel::util::run_context& run_;
  unsigned long bytes_ = 0;
  std::vector<cell_codes> codes_;  // by column
  std::vector<block> blocks_;      // in the order of the file
  std::optional<load_error> error_;
};

/// A block and the worker that read it.
struct source {
  const block* lines;
  worker* reader;
  unsigned long slot;
};

}  // namespace

class data_loader {
 public:
  data_loader(table& t, stream& in, unsigned long workers, zel::util::run_context& run)
      : table_(t), run_(run) {
    for (unsigned long i = 0; i < n_loading(workers, run); ++i) {
      workers_.push_back(std::make_unique<worker>(in, i, run));
    }
  }

  void load(std::ostream* log);
  /// Without the checks of a whole table. @return the bytes that were read.
  unsigned long load_piece(const piece& some);

  /// See fill_table().
  static void fill(table& t, unsigned long n_rows, const column_filler& fill,
                   const zel::util::run_context& run);

 private:
  template <class F>
  void for_each(unsigned long n, F f) const;
  void read_rows(long bytes, std::ostream* log);
  void throw_earliest_error(unsigned long first_row) const;
  void order_blocks();
  std::vector<unsigned long> finishing_order() const;
  void finish_columns();
  std::unique_ptr<column> finish_column(unsigned long i);
  unsigned long bytes_read() const;

  table& table_;
  zel::util::run_context& run_;
  std::vector<std::unique_ptr<worker>> workers_;
  std::vector<source> sources_;  // in the order of the file
  unsigned long rows_ = 0;
};

template <class F>
void data_loader::for_each(unsigned long n, F f) const {
  if (workers_.size() < 2 || n < 2) {
    for (unsigned long i = 0; i < n; ++i) f(i);
  } else {
    run_.with_workers([&] { zel::util::parallel::pfor(0, n, f); });
  }
}

/// About so many bytes of text.
void data_loader::read_rows(long bytes, std::ostream* log) {
  for (const auto& c : table_.columns_) c->values()->set_nthreads(workers_.size());
  error_limit limit = k_after_all_blocks;
  bytes_left left = bytes;
  std::mutex total;  // guards rows_ and the log
  for_each(workers_.size(), [&](unsigned long i) {
    workers_[i]->run(table_.columns_, limit, left);
    const std::lock_guard guard(total);
    rows_ += workers_[i]->rows();
    if (log != nullptr) *log << "  " << rows_ << '\r' << std::flush;
  });
}

/// Every block before the earliest error was read whole, so its row number is known; `first_row`
/// rows came before this loader.
void data_loader::throw_earliest_error(unsigned long first_row) const {
  const load_error* first = nullptr;
  for (const auto& w : workers_) {
    if (w->error() && (first == nullptr || w->error()->block < first->block)) first = &*w->error();
  }
  if (first == nullptr) return;
  if (first->place == load_error::INPUT) throw std::runtime_error(first->what);

  unsigned long row = first_row + first->line + 1;
  for (const auto& w : workers_) {
    for (const block& b : w->blocks()) {
      if (b.number < first->block) row += b.rows;
    }
  }
  throw std::runtime_error(first->place == load_error::ROW
                               ? zel::text::bad_row_message(row, first->what)
                               : first->what + cell_position(row, first->column));
}

void data_loader::order_blocks() {
  for (unsigned long i = 0; i < workers_.size(); ++i) {
    for (const block& b : workers_[i]->blocks()) sources_.push_back({&b, workers_[i].get(), i});
  }
  std::sort(sources_.begin(), sources_.end(),
            [](const source& a, const source& b) { return a.lines->number < b.lines->number; });
}

/// Column i with its final codes, over the value set it takes from the empty column there.
std::unique_ptr<column> data_loader::finish_column(unsigned long i) {
  column& empty = *table_.columns_[i];
  empty.freeze_values();
  std::vector<final_codes> finals;
  for (unsigned long w = 0; w < workers_.size(); ++w) {
    finals.push_back({std::unique_ptr<std::vector<code_t>>(empty.values()->map_insert_to_order(w)),
                      empty.values()->kept_codes(w)});
  }

  std::unique_ptr<column> full = empty.refitted();
  if (full->codes().bits == 0) return full;  // stores nothing

  full->reserve(rows_);
  for (const source& s : sources_) {
    unsigned long left = s.lines->rows;
    for (std::size_t at = s.lines->begins[i]; left > 0; ++at) {
      const cell_codes::chunk& cells = s.reader->codes(i).at(at);
      append_chunk(s.reader->codes(i), cells, finals[s.slot], *full);
      left -= cells.cells;
    }
  }
  for (const auto& w : workers_) w->codes(i).release();
  assert(full->size() == rows_);
  return full;
}

/// Columns in the order to finish them in: those of kept numbers need the most memory and time, so
/// they come first, while there is little else.
std::vector<unsigned long> data_loader::finishing_order() const {
  const unsigned long n = table_.columns_.size();
  std::vector<std::size_t> kept(n);
  for (unsigned long i = 0; i < n; ++i) {
    for (const auto& w : workers_) kept[i] += w->codes(i).kept();
  }
  std::vector<unsigned long> order(n);
  std::iota(order.begin(), order.end(), 0UL);
  std::stable_sort(order.begin(), order.end(),
                   [&kept](auto a, auto b) { return kept[a] > kept[b]; });
  return order;
}

void data_loader::finish_columns() {
  order_blocks();
  const std::vector<unsigned long> order = finishing_order();
  std::vector<std::string> errors(order.size());
  std::atomic<std::size_t> next = 0;
  for_each(workers_.size(), [&](unsigned long) {
    for (std::size_t k; (k = next.fetch_add(1)) < order.size();) {
      const unsigned long i = order[k];
      run_.require_not_cancelled();
      try {
        table_.columns_[i] = finish_column(i);
        table_.columns_[i]->values()->set_nthreads(0);
      } catch (const std::runtime_error& failure) {
        errors[i] = failure.what();
      }
    }
  });
  for (const std::string& error : errors) {
    if (!error.empty()) throw std::runtime_error(error);
  }
  table_.n_rows_ = rows_;
}

void data_loader::fill(table& t, unsigned long n_rows, const column_filler& fill,
                       const zel::util::run_context& run) {
  std::vector<std::string> errors(t.columns_.size());
  run.with_workers([&] {
    run.for_each_index(errors.size(), [&](unsigned long i) {
      try {
        t.columns_[i] = fill(i, *t.columns_[i]);
      } catch (const std::runtime_error& failure) {
        errors[i] = failure.what();
      }
    });
  });
  for (const std::string& error : errors) {
    if (!error.empty()) throw std::runtime_error(error);
  }
  t.n_rows_ = n_rows;
  t.takes_rows_ = false;
  t.check_loaded();
}

void fill_table(table& t, unsigned long n_rows, const column_filler& fill,
                const zel::util::run_context& run) {
  data_loader::fill(t, n_rows, fill, run);
}

unsigned long data_loader::bytes_read() const {
  unsigned long bytes = 0;
  for (const auto& w : workers_) bytes += w->bytes();
  return bytes;
}

unsigned long data_loader::load_piece(const piece& some) {
  read_rows(static_cast<long>(some.bytes), /*log=*/nullptr);
  run_.require_not_cancelled();
  throw_earliest_error(some.first_row);
  finish_columns();
  return bytes_read();
}

unsigned long load_piece(table& t, stream& in, unsigned long workers, const piece& some,
                         zel::util::run_context& run) {
  return data_loader(t, in, workers, run).load_piece(some);
}

namespace {

std::string column_name(const table& t, unsigned long i) {
  return i < t.n_columns() ? t.get_column(i).name() : "none";
}

void report_rates(std::ostream& log, const load_rates& of) {
  log << of.seconds << " secs (" << static_cast<double>(of.bytes) / 1048576 / of.seconds
      << " MiB/s, " << static_cast<double>(of.rows) / 1000 / of.seconds << " K rows/s)";
}

}  // namespace

void report_reading(const table& t, const load_rates& of, std::ostream& log) {
  report_duplicate_names(t, log);
  log << "\n + atts: " << t.n_attributes() << "\n + class: " << column_name(t, t.class_index())
      << "\n + weight: " << column_name(t, t.weights_index()) << "\n + load time: ";
  report_rates(log, of);
  log << "\n + indexing ..." << std::flush;
}

void report_indexing(const load_rates& of, std::ostream& log) {
  log << " done\n + total time: ";
  report_rates(log, of);
}

void data_loader::load(std::ostream* log) {
  zel::util::cronos watch;
  watch.start();
  read_rows(std::numeric_limits<long>::max(), log);
  run_.require_not_cancelled();  // rather than an error that some worker met before it knew
  throw_earliest_error(0);
  watch.stop();
  if (log != nullptr) report_reading(table_, {watch.get_elapsed(), bytes_read(), rows_}, *log);
  watch.restart();
  finish_columns();
  table_.check_loaded();
  watch.stop();
  table_.elapsed_ = watch.get_elapsed();
  if (log != nullptr) report_indexing({table_.elapsed_, bytes_read(), rows_}, *log);
}

/// What rows can be loaded into: a schema without them.
void table::check_takes_rows(const stream* in) const {
  if (in == nullptr) throw std::runtime_error(k_no_rows_stream);
  if (columns_.empty()) throw std::runtime_error(k_no_columns);
  if (n_rows_ > 0) throw std::runtime_error(k_has_rows);
  if (!takes_rows_) throw std::runtime_error(k_fixed_values);
}

void table::check_loaded() const {
  check_classes();
  if (n_rows_ == 0) throw std::runtime_error(k_no_rows);
  check_weights();
}

/// The columns and rows of `loaded`.
void table::take_rows(table& loaded) {
  columns_.swap(loaded.columns_);
  n_rows_ = loaded.n_rows_;
  elapsed_ = loaded.elapsed_;
  takes_rows_ = false;
}

void table::load_data(stream* in, unsigned long workers, std::ostream* log,
                      zel::util::run_context& run) {
  check_takes_rows(in);
  // Beside the table, which stays as it is if that fails.
  const std::unique_ptr<table> loaded = without_values();
  data_loader(*loaded, *in, workers, run).load(log);
  take_rows(*loaded);
}

}  // namespace orvik::impls
