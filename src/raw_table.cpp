#include "orvik/raw_table.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "impls/loading/open_table.h"
#include "zel/inpout/iomem.h"
#include "zel/inpout/stream.h"
#include "zel/util/cronos.h"
#include "zel/util/run_context.h"

namespace orvik {

namespace {

/// What parts the fields of a line of metadata.
constexpr char k_separator = '\x1f';

void load_schema(impls::table& to, const std::vector<raw_table::column_type>& columns,
                 const std::string& unknown) {
  std::string lines;
  for (const raw_table::column_type& c : columns) {
    lines += c.name + k_separator + c.type + k_separator + c.role + '\n';
  }
  zel::inpout::iomem bytes;
  bytes.open(lines.data(), lines.size(), lines.size());
  zel::inpout::stream in(&bytes, k_separator, /*owns=*/false);
  to.load_meta_data(&in, unknown);
}

}  // namespace

row_text::~row_text() = default;

raw_table::raw_table(std::unique_ptr<impls::open_table> impl) : impl_(std::move(impl)) {}
raw_table::~raw_table() = default;

std::unique_ptr<raw_table> raw_table::load(row_text& rows, std::vector<bool> as_texts,
                                           bool opens_last) {
  auto all = std::make_unique<impls::open_table>(zel::util::default_context());
  if (!all->read(rows, as_texts, opens_last)) return nullptr;
  return std::unique_ptr<raw_table>(new raw_table(std::move(all)));
}

unsigned long raw_table::n_rows() const { return impl_->n_rows(); }

void raw_table::texts(unsigned long column, const text_taker& take) const {
  const impls::open_column& c = impl_->column_at(column);
  std::vector<impls::open_column::code> order(c.texts.size());
  std::iota(order.begin(), order.end(), 0U);
  const auto first_row = [&c](auto text) { return c.first_rows[text]; };
  if (!std::ranges::is_sorted(order, {}, first_row)) std::ranges::sort(order, {}, first_row);
  char room[8];
  for (const auto text : order) {
    take(c.texts.text(text + 1, room), c.counts[text], c.first_rows[text]);
  }
}

bool raw_table::has_numbers(unsigned long column) const {
  return impl_->column_at(column).has_numbers;
}

raw_table::numbers raw_table::numbers_of(unsigned long column) const {
  const impls::open_column& c = impl_->column_at(column);
  numbers of;
  for (const impls::open_cells& part : c.parts)
    of.n_kept += part.codes.kept() - part.unknown.size();
  of.n_distinct = c.values.size();
  of.marks = c.marks;
  if (c.values.empty()) return of;
  of.lowest = c.values.front();
  of.highest = c.values.back();
  return of;
}

std::unique_ptr<table> raw_table::typed(const std::string& name,
                                        const std::vector<column_type>& columns,
                                        const std::string& unknown, const cell_writer& write,
                                        unsigned long& n_dropped) const {
  zel::util::cronos watch;
  watch.start();
  auto made = std::make_unique<impls::table>(name);
  load_schema(*made, columns, unknown);
  n_dropped = impl_->fill(*made, write);
  watch.stop();
  made->set_elapsed(watch.get_elapsed());
  return std::make_unique<table>(std::move(made));
}

}  // namespace orvik
