#include "text_table.h"

#include "plain_text.h"
#include "zel/util/run_context.h"

namespace orvprep {

std::unique_ptr<text_table> text_table::of(source& in, const layout& form, const cell_rules& rules,
                                           const std::vector<bool>& as_texts) {
  const bool known = std::string_view(",;\t|").find(form.separator) != std::string_view::npos;
  const bool passes_over = form.n_comments > 0 || form.counts_line > 0;
  if (!known || passes_over || form.names.size() < 2) return nullptr;
  plain_text text(in, form, rules);
  auto rows = orvik::raw_table::load(text, as_texts, /*opens_last=*/!form.has_last_separators);
  if (!rows) return nullptr;
  return std::unique_ptr<text_table>(new text_table(std::move(rows), form.has_header ? 2 : 1));
}

void text_table::profile(std::vector<column_profile>& profiles) const {
  const auto profile_column = [&](unsigned long i) {
    column_profile& p = profiles[i];
    rows_->texts(i, [&](std::string_view text, unsigned long n, unsigned long first_row) {
      p.add_different(text, first_line_ + first_row, n);
    });
    if (!has_numbers(i)) return;
    const orvik::raw_table::numbers of = rows_->numbers_of(i);
    p.add_numbers(of.n_kept, of.n_distinct, of.lowest, of.highest, of.marks);
  };
  const zel::util::run_context& run = zel::util::default_context();
  run.with_workers([&] { run.for_each_index(profiles.size(), profile_column); });
}

std::unique_ptr<orvik::table> text_table::typed(const std::string& name, const table_plan& plan,
                                                unsigned long& n_dropped) const {
  std::vector<orvik::raw_table::column_type> types;
  for (const column_plan& c : plan.columns) {
    types.push_back({plan.cells.written(c.name), c.type, c.role});
  }
  return rows_->typed(
      name, types, k_unknown,
      [&plan](unsigned long column, std::string_view text, std::string& to) {
        append_cell(plan, plan.columns[column], text, to);
      },
      n_dropped);
}

}  // namespace orvprep
