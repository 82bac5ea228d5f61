// Rows of text into columns of codes, in two parallel phases.
//
// Phase 1: every worker takes blocks of whole lines from the shared connection, looks each cell
// up in its own dictionary of the column, and writes the local codes to a byte stream a column.
// Blocks are numbered in the order of the file, and a worker notes where each of its blocks
// begins in its streams. Phase 2: column by column, the dictionaries are merged and sorted, the
// storage width is chosen, and the codes are translated block by block in the order of the file.
// So rows, codes and errors are the same for any number of workers.
#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>

#include "impls/tables/code_stream.h"
#include "impls/tables/field_split.h"
#include "impls/tables/table.h"
#include "zel/util/cronos.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr char k_no_stream[] = "no data provider detected.";
constexpr char k_few_classes[] = "there must be at least two class values";
constexpr char k_no_rows[] = "there must be at least one row of data";

/// Streams of a load; more threads than this are never started.
constexpr unsigned long k_max_workers = 256;

using zel::inpout::stream;

/// Where a cell is, for a message.
std::string cell_position(unsigned long row, const std::string& column) {
  return " (row " + std::to_string(row) + ", column " + column + ")";
}

/// Lines of one refill of a worker's stream.
struct block {
  unsigned long number = 0;
  unsigned long rows = 0;
  std::vector<std::size_t> begins;  // by column, in the worker's code streams
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

class worker {
 public:
  worker(zel::inpout::ioconn* connection, char separator, unsigned long slot)
      : in_(connection, separator, /*owns=*/false), slot_(slot) {}

  /// Reads until the input ends or an earlier block is known to be bad.
  void run(const std::vector<std::unique_ptr<column>>& columns, error_limit& limit) {
    streams_.resize(columns.size());
    try {
      while (in_.read_line()) {
        if (blocks_.empty() || blocks_.back().number != in_.block_number()) {
          if (in_.block_number() > limit.load(std::memory_order_relaxed)) return;
          begin_block();
        }
        read_row(columns);
        if (error_) break;
        ++blocks_.back().rows;
      }
    } catch (const std::bad_alloc&) {
      lower(limit, 0);  // stops the other workers
      throw;
    } catch (const std::exception& failure) {  // the connection failed
      error_ = load_error{load_error::INPUT, in_.block_number(), 0, failure.what(), {}};
    }
    if (error_) lower(limit, error_->block);
  }

  const std::vector<block>& blocks() const { return blocks_; }
  const std::optional<load_error>& error() const { return error_; }
  code_stream& codes(std::size_t column) { return streams_[column]; }
  unsigned long bytes() const { return in_.bytes_read(); }
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

  void begin_block() {
    block next{in_.block_number(), 0, {}};
    next.begins.reserve(streams_.size());
    for (const code_stream& s : streams_) next.begins.push_back(s.position());
    blocks_.push_back(std::move(next));
  }

  void read_row(const std::vector<std::unique_ptr<column>>& columns) {
    const std::string_view line(in_.line(), in_.line_length());
    split_fields(line, in_.separator(), /*trim=*/true, fields_);
    const bool empty = line.empty() && columns.size() != 1;
    if (fields_.size() != columns.size() || empty || holds_nul(line)) {
      return fail(load_error::ROW, std::string(line.substr(0, 256)), {});
    }
    std::size_t i = 0;
    try {
      for (; i < fields_.size(); ++i) {
        const code_t code = columns[i]->values()->insert_local(fields_[i], slot_);
        if (code != k_no_code) streams_[i].append(code);
      }
    } catch (const std::runtime_error& failure) {  // the value; lack of memory has no row
      fail(load_error::CELL, failure.what(), columns[i]->name());
    }
  }

  void fail(load_error::kind place, std::string what, std::string column) {
    error_ = load_error{place, blocks_.back().number, blocks_.back().rows, std::move(what),
                        std::move(column)};
  }

  stream in_;
  unsigned long slot_;
  std::vector<std::string_view> fields_;
  std::vector<code_stream> streams_;  // by column
  std::vector<block> blocks_;         // in the order of the file
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
  data_loader(table& t, stream& in, unsigned long workers) : table_(t) {
    for (unsigned long i = 0; i < std::clamp(workers, 1UL, k_max_workers); ++i) {
      workers_.push_back(std::make_unique<worker>(in.connection(), in.separator(), i));
    }
  }

  void load(std::ostream* log);

 private:
  template <class F>
  void for_each(unsigned long n, F f) const;
  void read_rows(std::ostream* log);
  void throw_earliest_error() const;
  void order_blocks();
  void finish_columns();
  std::unique_ptr<column> finish_column(unsigned long i);
  void check() const;
  void report_rates(std::ostream& log, double seconds) const;

  table& table_;
  std::vector<std::unique_ptr<worker>> workers_;
  std::vector<source> sources_;  // in the order of the file
  unsigned long rows_ = 0;
};

template <class F>
void data_loader::for_each(unsigned long n, F f) const {
  if (workers_.size() < 2 || n < 2) {
    for (unsigned long i = 0; i < n; ++i) f(i);
  } else {
    zel::util::parallel::with_workers([&] { zel::util::parallel::pfor(0, n, f); });
  }
}

void data_loader::read_rows(std::ostream* log) {
  error_limit limit = k_after_all_blocks;
  std::mutex total;  // guards rows_ and the log
  for_each(workers_.size(), [&](unsigned long i) {
    workers_[i]->run(table_.columns_, limit);
    const std::lock_guard guard(total);
    rows_ += workers_[i]->rows();
    if (log != nullptr) *log << "  " << rows_ << '\r' << std::flush;
  });
}

/// Every block before the earliest error was read whole, so its row number is known.
void data_loader::throw_earliest_error() const {
  const load_error* first = nullptr;
  for (const auto& w : workers_) {
    if (w->error() && (first == nullptr || w->error()->block < first->block)) first = &*w->error();
  }
  if (first == nullptr) return;
  if (first->place == load_error::INPUT) throw std::runtime_error(first->what);

  unsigned long row = first->line + 1;
  for (const auto& w : workers_) {
    for (const block& b : w->blocks()) {
      if (b.number < first->block) row += b.rows;
    }
  }
  throw std::runtime_error(first->place == load_error::ROW
                               ? bad_row_message(row, first->what)
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
  empty.values()->freeze();
  std::vector<std::unique_ptr<std::vector<code_t>>> finals;
  for (unsigned long w = 0; w < workers_.size(); ++w) {
    finals.emplace_back(empty.values()->map_insert_to_order(w));
  }

  std::string error;
  std::unique_ptr<column> full(
      column::NEW_COLUMN(empty.values(), empty.name(), empty.get_type(), error));
  if (!full) throw std::runtime_error(error);
  static_cast<void>(empty.release_values().release());  // the new column has it now
  if (full->codes().bits == 0) return full;             // stores nothing

  full->reserve(rows_);
  std::vector<code_t> codes;
  for (const source& s : sources_) {
    const code_stream& locals = s.reader->codes(i);
    const std::vector<code_t>* final_of = finals[s.slot].get();
    std::size_t at = s.lines->begins[i];
    codes.resize(s.lines->rows);
    for (code_t& code : codes) {
      code = locals.read(at);
      if (final_of != nullptr) code = (*final_of)[code];
    }
    full->append(codes);
  }
  for (const auto& w : workers_) w->codes(i).release();
  return full;
}

void data_loader::finish_columns() {
  order_blocks();
  const unsigned long n = table_.columns_.size();
  std::vector<std::string> errors(n);
  for_each(n, [&](unsigned long i) {
    try {
      table_.columns_[i] = finish_column(i);
      table_.columns_[i]->values()->set_nthreads(0);
    } catch (const std::runtime_error& failure) {
      errors[i] = failure.what();
    }
  });
  for (const std::string& error : errors) {
    if (!error.empty()) throw std::runtime_error(error);
  }
  table_.n_rows_ = rows_;
}

void data_loader::check() const {
  if (table_.class_column().values()->size_of_known() < 2) throw std::runtime_error(k_few_classes);
  if (rows_ == 0) throw std::runtime_error(k_no_rows);
  table_.check_weights();
}

void data_loader::report_rates(std::ostream& log, double seconds) const {
  unsigned long bytes = 0;
  for (const auto& w : workers_) bytes += w->bytes();
  log << seconds << " secs (" << static_cast<double>(bytes) / 1048576 / seconds << " MiB/s, "
      << static_cast<double>(rows_) / 1000 / seconds << " K rows/s)";
}

void data_loader::load(std::ostream* log) {
  zel::util::cronos watch;
  watch.start();
  for (const auto& c : table_.columns_) c->values()->set_nthreads(workers_.size());
  read_rows(log);
  throw_earliest_error();
  watch.stop();
  if (log != nullptr) {
    *log << "\n + atts: " << table_.n_attributes() << "\n + class: " << table_.class_column().name()
         << "\n + weight: "
         << (table_.has_weights() ? table_.columns_[table_.weights_index_]->name() : "none")
         << "\n + load time: ";
    report_rates(*log, watch.get_elapsed());
    *log << "\n + indexing ..." << std::flush;
  }
  watch.restart();
  finish_columns();
  check();
  watch.stop();
  table_.elapsed_ = watch.get_elapsed();
  if (log != nullptr) {
    *log << " done\n + total time: ";
    report_rates(*log, table_.elapsed_);
  }
}

void table::load_data(stream* in, unsigned long workers, std::ostream* log) {
  if (in == nullptr) throw std::runtime_error(k_no_stream);
  data_loader(*this, *in, workers).load(log);
}

}  // namespace orvik::impls
