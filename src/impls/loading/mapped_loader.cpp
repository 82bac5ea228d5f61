// Rows of text into a table in the mapped form, with memory for the values and a piece of the rows.
//
// The text is loaded in pieces, each as a small table with value sets of its own, whose columns are
// written to a file beside the table. When all is read the value sets of a column are one, and its
// pieces are read again, one after the other, their codes translated and written to their place.
#include <stdexcept>

#include "impls/loading/load_piece.h"
#include "impls/tables/append_codes.h"
#include "impls/tables/column_record.h"
#include "impls/tables/mapped_form.h"
#include "zel/inpout/file_mapping.h"
#include "zel/inpout/replacing_file.h"
#include "zel/util/cronos.h"

namespace orvik::impls {

using zel::inpout::replacing_file;
using zel::inpout::stream;

namespace {

constexpr char k_lost_place[] = "a piece of the rows cannot be read again";
constexpr char k_no_regular_file[] = "not a regular file";

/// Calls write(), which writes `file` or beside it; its errors then name the file.
template <class Write>
void write_named(const std::string& file, const Write& write) {
  try {
    write();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("File: " + file + " cannot be written: " + failure.what());
  }
}

/// Text of a piece, in buffers of the stream: 64 MiB, whose codes take up to three times as much
/// while they are found.
constexpr unsigned long k_piece_buffers = 64;

/// Columns of pieces in a file that goes when this does.
class stored_pieces {
 public:
  explicit stored_pieces(const std::string& beside)
      : file_(beside),
        out_(zel::inpout::ioconn::get_default_output(file_.path())),
        to_(out_, /*owns=*/true) {}

  void add(const table& piece) {
    std::vector<long>& begins = begins_.emplace_back();
    for (unsigned long i = 0; i < piece.n_columns(); ++i) {
      begins.push_back(out_->tell());
      write_column(to_, piece.get_column(i));
    }
    if (out_->failed()) close();  // which says why
  }
  /// Nothing can be added from now on.
  void close() { to_.close(); }

  /// Calls use(column) for column i of every piece, in their order.
  template <class Use>
  void for_each(unsigned long i, const Use& use) const {
    const std::unique_ptr<zel::inpout::ioconn> from(
        zel::inpout::ioconn::get_default_input(file_.path(), /*workers=*/1));
    for (const std::vector<long>& begins : begins_) {
      zel::inpout::require(from->lseek(begins[i], SEEK_SET) == begins[i], k_lost_place);
      zel::inpout::ibinstream in(from.get(), /*owns=*/false);
      use(*read_column(in));
    }
  }

 private:
  replacing_file file_;       // never committed
  zel::inpout::ioconn* out_;  // to_ has it
  zel::inpout::obinstream to_;
  std::vector<std::vector<long>> begins_;  // by piece and column
};

/// The union of many value sets. Sets of like sizes are united first: every value is handled a
/// logarithmic number of times, however many sets there are.
class united_values {
 public:
  void add(const o_set& values) {
    std::unique_ptr<o_set> added(values.clone());
    while (!sets_.empty() && sets_.back()->size_of_known() / 2 <= added->size_of_known()) {
      added = sets_.back()->united_with(*added);
      sets_.pop_back();
    }
    sets_.push_back(std::move(added));
  }

  /// Of one set at least.
  std::unique_ptr<o_set> all() {
    std::unique_ptr<o_set> united = std::move(sets_.back());
    for (sets_.pop_back(); !sets_.empty(); sets_.pop_back()) {
      united = united->united_with(*sets_.back());
    }
    return united;
  }

 private:
  std::vector<std::unique_ptr<o_set>> sets_;  // each more than twice as large as the next
};

}  // namespace

class mapped_loader {
 public:
  mapped_loader(const table& schema, const std::string& file, zel::util::run_context& run)
      : schema_(schema), name_(file), pieces_(file), values_(schema.n_columns()), run_(run) {}

  void read(stream& in, unsigned long workers, std::ostream* log);
  /// The columns without rows.
  std::unique_ptr<table> final_schema();
  void write(const std::string& file, const table& schema);
  unsigned long rows() const { return rows_; }
  unsigned long bytes() const { return bytes_; }

 private:
  bool read_piece(stream& in, unsigned long workers);

  const table& schema_;
  std::string name_;  // of the file
  stored_pieces pieces_;
  std::vector<united_values> values_;  // by column
  zel::util::run_context& run_;
  unsigned long rows_ = 0;
  unsigned long bytes_ = 0;
};

/// @return whether there was one. The first one is always kept: it has the columns.
bool mapped_loader::read_piece(stream& in, unsigned long workers) {
  const std::unique_ptr<table> some = schema_.without_values();
  const unsigned long piece_bytes = k_piece_buffers * in.sizes().capacity;
  const unsigned long bytes = load_piece(*some, in, workers, {piece_bytes, rows_}, run_);
  if (bytes == 0 && bytes_ > 0) return false;
  write_named(name_, [&] { pieces_.add(*some); });
  for (unsigned long i = 0; i < values_.size(); ++i) values_[i].add(*some->columns_[i]->values());
  rows_ += some->n_rows_;
  bytes_ += bytes;
  return bytes > 0;
}

void mapped_loader::read(stream& in, unsigned long workers, std::ostream* log) {
  while (read_piece(in, workers)) {
    if (log != nullptr) *log << "  " << rows_ << '\r' << std::flush;
  }
  write_named(name_, [&] { pieces_.close(); });
}

std::unique_ptr<table> mapped_loader::final_schema() {
  std::unique_ptr<table> made = schema_.without_values();
  for (unsigned long i = 0; i < values_.size(); ++i) {
    const column& c = *made->columns_[i];
    made->columns_[i] = column::over(values_[i].all(), c.name(), c.get_type());
  }
  made->check_classes();
  return made;
}

void mapped_loader::write(const std::string& file, const table& schema) {
  mapped_writer to(file, schema, rows_);
  run_.with_workers([&] {
    run_.for_each_index(values_.size(), [&](unsigned long i) {
      const o_set& all = *schema.columns_[i]->values();
      to.write_column(i, [&](mapped_codes_writer& codes) {
        pieces_.for_each(i, [&](const column& part) {
          run_.require_not_cancelled();
          const std::vector<code_t> final_code = part.values()->codes_in(all);
          visit_codes(part.codes(), [&](const auto& of_row) {
            append_codes(
                part.size(), [&](row_t row) { return final_code[of_row[row]]; }, codes);
          });
        });
      });
    });
  });
  to.finish();
}

namespace {

std::unique_ptr<replacing_file> new_file(const std::string& name) {
  std::unique_ptr<replacing_file> file;
  write_named(name, [&] {
    file = std::make_unique<replacing_file>(name);
    if (file->path() == name) throw std::runtime_error(k_no_regular_file);
  });
  return file;
}

}  // namespace

void table::load_data_mapped(stream* in, unsigned long workers, const std::string& mapped,
                             std::ostream* log, zel::util::run_context& run) {
  check_takes_rows(in);
  zel::util::cronos watch;
  watch.start();
  const std::unique_ptr<replacing_file> file = new_file(mapped);
  mapped_loader loader(*this, mapped, run);
  loader.read(*in, workers, log);
  watch.stop();
  const auto rates = [&] { return load_rates{watch.get_elapsed(), loader.bytes(), loader.rows()}; };
  if (log != nullptr) report_reading(*this, rates(), *log);
  watch.restart();
  const std::unique_ptr<table> made = loader.final_schema();
  write_named(mapped, [&] { loader.write(file->path(), *made); });
  const std::unique_ptr<table> loaded = open_mapped(file->path(), mapped);
  loaded->check_loaded();
  write_named(mapped, [&] { file->commit(); });
  watch.stop();
  loaded->elapsed_ = watch.get_elapsed();
  if (log != nullptr) report_indexing(rates(), *log);
  take_rows(*loaded);
}

}  // namespace orvik::impls
