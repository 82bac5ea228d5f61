#include "csv_rows.h"

#include <algorithm>
#include <cstdlib>

#include "zel/text/field_split.h"

namespace orvprep {

namespace {

constexpr char k_no_parser[] = "out of memory";
constexpr char k_bad_quotes[] =
    "a quote inside a cell without quotes, or text behind a closing quote";
constexpr char k_open_quote[] = "a quote that is opened here or before is never closed";
constexpr char k_large_cell[] = "a cell of more than 16 MiB: is a quote not closed?";
constexpr char k_nul[] = "a NUL byte: is this a text file?";

constexpr std::size_t k_largest_cell = 16UL << 20;

void* bounded_realloc(void* old, std::size_t size) {
  return size > k_largest_cell ? nullptr : std::realloc(old, size);
}

bool is_blank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

csv_rows::csv_rows(const std::string& name, char separator)
    : name_(name), runs_of_blanks_(separator == ' ') {
  constexpr unsigned char k_options =
      CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL | CSV_EMPTY_IS_NULL;
  if (csv_init(&parser_, k_options) != 0) throw std::runtime_error(k_no_parser);
  csv_set_delim(&parser_, static_cast<unsigned char>(separator));
  csv_set_realloc_func(&parser_, bounded_realloc);
}

csv_rows::~csv_rows() { csv_free(&parser_); }

void csv_rows::start(row_visitor& visit) {
  visit_ = &visit;
  line_ = 1;
  column_ = 0;
  after_return_ = has_quotes_ = enough_ = false;
  failure_ = nullptr;
}

void csv_rows::read(source& in, row_visitor& visit) {
  start(visit);
  in.rewind();
  for (std::string_view bytes = in.read(); !bytes.empty(); bytes = in.read()) {
    if (!feed(bytes)) return;
  }
  finish();
}

void csv_rows::read_complete_rows(std::string_view bytes, row_visitor& visit) {
  start(visit);
  feed(bytes);
}

/// @return whether to go on.
bool csv_rows::feed(std::string_view bytes) {
  if (bytes.find('\0') != bytes.npos) {
    line_ += static_cast<unsigned long>(
        std::count(bytes.begin(), bytes.begin() + static_cast<long>(bytes.find('\0')), '\n'));
    fail(k_nul);
  }
  has_quotes_ = has_quotes_ || bytes.find('"') != bytes.npos;
  const std::size_t done = csv_parse(&parser_, bytes.data(), bytes.size(), on_cell, on_row, this);
  if (failure_) std::rethrow_exception(failure_);
  if (enough_) return false;
  if (done == bytes.size()) return true;
  fail(csv_error(&parser_) == CSV_ENOMEM ? k_large_cell : k_bad_quotes);
}

void csv_rows::finish() {
  const int error = csv_fini(&parser_, on_cell, on_row, this);
  if (failure_) std::rethrow_exception(failure_);
  if (error != 0) fail(k_open_quote);
}

void csv_rows::fail(const std::string& reason) const { throw file_error(name_, line_, reason); }

/// libcsv goes on after a failure of the visitor, to whom nothing more is given.
void csv_rows::on_cell(void* text, std::size_t length, void* self) {
  auto& rows = *static_cast<csv_rows*>(self);
  if (rows.failure_ || rows.enough_) return;
  // A cell without text nor quotes.
  if (text == nullptr && rows.runs_of_blanks_) return;
  try {
    rows.take_cell({static_cast<const char*>(text), length});
  } catch (...) {
    rows.failure_ = std::current_exception();
  }
}

void csv_rows::on_row(int end, void* self) {
  auto& rows = *static_cast<csv_rows*>(self);
  if (rows.failure_ || rows.enough_) return;
  try {
    rows.take_row(end);
  } catch (...) {
    rows.failure_ = std::current_exception();
  }
}

void csv_rows::take_cell(std::string_view text) {
  if (has_quotes_) line_ += static_cast<unsigned long>(std::ranges::count(text, '\n'));
  visit_->cell(column_++, zel::text::trimmed(text, is_blank), line_);
}

/// libcsv tells of every line end outside quotes, and of both halves of a CR LF.
void csv_rows::take_row(int end) {
  const bool second_half = end == '\n' && after_return_ && column_ == 0;
  after_return_ = end == '\r';
  if (second_half) return;
  if (column_ > 0) enough_ = !visit_->end_of_row(column_, line_);
  column_ = 0;
  ++line_;
}

}  // namespace orvprep
