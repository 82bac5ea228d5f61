#include "new_rows.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "intake.h"
#include "zel/text/decimal.h"
#include "zel/text/message.h"
#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

constexpr unsigned long k_block_rows = 1UL << 14;
constexpr std::size_t k_remembered = 1UL << 14;  // texts of a column
constexpr std::size_t k_told_names = 8;
constexpr unsigned long k_nowhere = ~0UL;

std::string shown(const std::string& text) { return "'" + zel::text::quoted(text) + "'"; }

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < std::min(names.size(), k_told_names); ++i) {
    text += (i > 0 ? ", " : "") + shown(names[i]);
  }
  if (names.size() > k_told_names) {
    text += " and " + std::to_string(names.size() - k_told_names) + " more";
  }
  return text;
}

struct text_hash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};

}  // namespace

/// The values of one column of the file in the codes of the model's.
class new_rows::coded_column {
 public:
  coded_column(const orvik::column_view& of, const orvprep::table_plan& plan,
               unsigned long its_attribute)
      : attribute(its_attribute),
        column(of.index()),
        column_(of),
        table_(plan),
        plan_(plan.columns[of.index()]) {}

  orvik::code_t code_of(std::string_view text, unsigned long line) {
    if (const auto known = codes_.find(text); known != codes_.end())
      return count(known->second, text, line);
    const found f = look_up(text);
    if (codes_.size() < k_remembered) codes_.emplace(text, f);
    return count(f, text, line);
  }
  /// Of a case weight.
  double number_of(std::string_view text, const std::string& file, unsigned long line) const {
    std::string number;
    if (orvprep::fits(table_, plan_, text)) orvprep::append_cell(table_, plan_, text, number);
    const auto value = zel::text::parse_decimal<double>(number);
    if (value && *value >= 0) return *value;
    throw orvprep::file_error(
        file, line,
        "column " + shown(column_.name()) + ": " + shown(std::string(text)) + " is no weight");
  }

  /// The cell as a table of the model's columns has it; "?" where it is none of its type.
  std::string text_of(std::string_view text) const {
    std::string written;
    if (!orvprep::fits(table_, plan_, text)) return orvik::k_unknown_text;
    orvprep::append_cell(table_, plan_, text, written);
    if (!column_.is_numeric() || written == orvik::k_unknown_text) return written;
    const auto value = zel::text::parse_decimal<double>(written);
    return value ? whole_above(written, *value) : orvik::k_unknown_text;
  }

  const std::string& name() const { return column_.name(); }

  const unsigned long attribute;  // k_nowhere of class and weights
  const unsigned long column;     // of the model
  unsigned long n_unseen = 0;
  std::string first_unseen;
  unsigned long first_line = 0;

 private:
  struct found {
    orvik::code_t code;
    bool unseen;
  };

  orvik::code_t count(const found& f, std::string_view text, unsigned long line) {
    if (f.unseen && n_unseen++ == 0) {
      first_unseen = text;
      first_line = line;
    }
    return f.code;
  }

  /// A text that is unknown in other files may be a value of this model.
  found look_up(std::string_view text) const {
    const bool is_unknown = table_.cells.is_unknown(text, plan_.reading);
    if (is_unknown && column_.is_numeric()) return {orvik::k_unknown, false};
    if (is_unknown) return {column_.code_of(std::string(text)), false};
    if (!orvprep::fits(table_, plan_, text)) return {column_.code_of_unknown(), true};
    std::string written;
    orvprep::append_cell(table_, plan_, text, written);
    if (column_.is_numeric()) return number_code(written);
    const orvik::code_t code = column_.code_of(written);
    return {code, code == column_.code_of_unknown()};
  }

  /// In a column of whole numbers that is cut, a number between two of them is on the same side of
  /// every cut as the next larger one.
  std::string whole_above(const std::string& text, double value) const {
    const bool cut_whole =
        column_.role() == orvik::model::CONTINUOUS && column_.type().ends_with("integer");
    if (!cut_whole || (value == std::floor(value) && text.find_first_of(".eE") == text.npos)) {
      return text;
    }
    return std::to_string(std::llround(std::ceil(std::clamp(value, -1e10, 1e10))));
  }

  found number_code(const std::string& text) const {
    const auto value = zel::text::parse_decimal<double>(text);
    if (!value) return {orvik::k_unknown, true};
    try {
      const orvik::code_t code = column_.code_of(whole_above(text, *value));
      return {code, code == orvik::k_unknown};
    } catch (const std::runtime_error&) {  // beyond the numbers of the type
      if (column_.role() != orvik::model::CONTINUOUS) return {orvik::k_unknown, true};
      return {*value < 0 ? 1 : column_.n_values() + 1, false};
    }
  }

  orvik::column_view column_;
  const orvprep::table_plan& table_;
  const orvprep::column_plan& plan_;
  std::unordered_map<std::string, found, text_hash, std::equal_to<>> codes_;
};

new_rows::new_rows(const orvik::dtree& model, const reading& how, const std::string& file,
                   char separator, std::ostream& told)
    : how_(how),
      told_(told),
      schema_(model.get_schema()),
      attribute_of_(schema_.n_columns(), k_nowhere),
      found_(schema_.n_columns()) {
  for (unsigned long a = 0; a < schema_.n_attributes(); ++a) {
    attribute_of_[schema_.attribute(a).index()] = a;
  }
  std::vector<std::string> known;
  for (const orvprep::column_plan& c : how.plan.columns) known.push_back(c.name);
  rows_ = open_row_file(file, separator, how.comment, known);
  columns_.resize(names().size());
  match();
}

new_rows::~new_rows() = default;

void new_rows::bind(unsigned long of_file, unsigned long of_model) {
  found_[of_model] = true;
  const orvik::column_view column = schema_.column(of_model);
  using namespace orvik::model;
  const bool is_class = column.role() == CLASS, is_weights = column.role() == WEIGHTS;
  if (!column.is_input() && !is_class && !is_weights) return;
  columns_[of_file] = std::make_unique<coded_column>(column, how_.plan, attribute_of_[of_model]);
  if (is_class) class_ = columns_[of_file].get();
  if (is_weights) weights_ = columns_[of_file].get();
}

void new_rows::match() {
  rows_->has_names() && how_.plan.named ? match_by_name() : match_by_place();
  tell_missing();
}

void new_rows::match_by_name() {
  std::vector<std::string> extra;
  for (unsigned long i = 0; i < names().size(); ++i) {
    const auto at = std::ranges::find(how_.plan.columns, names()[i], &orvprep::column_plan::name);
    if (at == how_.plan.columns.end()) {
      extra.push_back(names()[i]);
    } else {
      bind(i, static_cast<unsigned long>(at - how_.plan.columns.begin()));
    }
  }
  if (extra.size() == names().size()) {
    throw std::runtime_error(rows_->file() +
                             ": none of its columns is one of the model's: " + listed(extra));
  }
  if (!extra.empty()) {
    told_ << rows_->file() << ": columns that the model does not have, dropped: " << listed(extra)
          << '\n';
  }
}

/// All columns, or all but the class, in the order of the model's.
void new_rows::match_by_place() {
  const bool all = names().size() == schema_.n_columns();
  if (!all && names().size() + 1 != schema_.n_columns()) {
    throw std::runtime_error(rows_->file() + ": no header, and " + std::to_string(names().size()) +
                             " columns instead of " + std::to_string(schema_.n_columns()));
  }
  unsigned long of_file = 0;
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) {
    const bool absent = !all && schema_.column(i).role() == orvik::model::CLASS;
    if (!absent) bind(of_file++, i);
  }
  told_ << rows_->file() << ": columns taken by their places, as "
        << (how_.plan.named ? "it has no header\n" : "the training file had no header\n");
}

void new_rows::tell_missing() const {
  std::vector<std::string> missing;
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) {
    if (!found_[i] && schema_.column(i).is_input()) missing.push_back(how_.plan.columns[i].name);
  }
  if (missing.empty()) return;
  told_ << rows_->file() << ": missing columns, taken as unknown: " << listed(missing) << '\n';
}

void new_rows::tell_values() const {
  for (const auto& c : columns_) {
    if (!c || c->n_unseen == 0) continue;
    told_ << rows_->file() << ": column " << shown(c->name()) << ": " << c->n_unseen
          << (c->n_unseen == 1 ? " cell of a value" : " cells of values")
          << " that the model does not know, first " << shown(c->first_unseen) << " (line "
          << c->first_line << (c.get() == class_ ? ")\n" : "), taken as unknown\n");
  }
}

std::vector<unsigned long> new_rows::keys() const {
  std::vector<unsigned long> found;
  for (unsigned long i = 0; i < names().size(); ++i) {
    const auto at = std::ranges::find(how_.plan.columns, names()[i], &orvprep::column_plan::name);
    if (at != how_.plan.columns.end() && at->key) found.push_back(i);
  }
  return found;
}

class new_rows::visitor : public orvprep::row_visitor {
 public:
  visitor(new_rows& of, const std::vector<unsigned long>& kept,
          const std::function<void(row_block&)>& take)
      : of_(of), take_(take), width_(of.schema_.n_attributes()), n_kept_(kept.size()) {
    place_.assign(of.names().size(), k_nowhere);
    for (std::size_t i = 0; i < kept.size(); ++i) place_[kept[i]] = i;
    block_.kept.resize(k_block_rows * n_kept_);
    for (unsigned long a = 0; a < width_; ++a) {
      unknown_.push_back(of_.schema_.attribute(a).code_of_unknown());
    }
    begin_row();
  }

  void cell(unsigned long column, std::string_view text, unsigned long line) override {
    if (place_[column] != k_nowhere) block_.kept[block_.n * n_kept_ + place_[column]] = text;
    coded_column* const c = of_.columns_[column].get();
    if (c == nullptr) return;
    if (c == of_.weights_) {
      block_.weights.back() = c->number_of(text, of_.rows_->file(), line);
    } else if (c == of_.class_) {
      const unsigned long before = c->n_unseen;
      block_.classes.back() = c->code_of(text, line);
      block_.new_class.back() = c->n_unseen > before;
    } else {
      block_.codes[block_.n * width_ + c->attribute] = c->code_of(text, line);
    }
  }

  bool end_of_row(unsigned long, unsigned long) override {
    if (++block_.n == k_block_rows) give();
    begin_row();
    return true;
  }

  void end() {
    block_.codes.resize(block_.n * width_);
    if (block_.n > 0) give();
  }

 private:
  void begin_row() {
    block_.codes.resize(block_.n * width_);
    block_.codes.insert(block_.codes.end(), unknown_.begin(), unknown_.end());
    block_.classes.resize(block_.n + 1, orvik::k_unknown);
    block_.new_class.resize(block_.n + 1, false);
    block_.weights.resize(block_.n + 1, 1.0);
  }

  void give() {
    zel::util::default_context().count(zel::util::progress::unit::rows, block_.n);
    block_.codes.resize(block_.n * width_);
    take_(block_);
    block_.first += block_.n;
    block_.n = 0;
    block_.codes.clear();
    block_.classes.clear();
    block_.new_class.clear();
    block_.weights.clear();
  }

  new_rows& of_;
  const std::function<void(row_block&)>& take_;
  std::size_t width_, n_kept_;
  std::vector<unsigned long> place_;    // by column of the file, among those kept
  std::vector<orvik::code_t> unknown_;  // by attribute: of a cell without a value
  row_block block_;
};

class new_rows::table_visitor : public orvprep::row_visitor {
 public:
  table_visitor(new_rows& of, orvprep::table_text& to) : of_(of), to_(to) {
    place_.assign(of.names().size(), k_nowhere);
    for (std::size_t i = 0; i < place_.size(); ++i) {
      if (of.columns_[i]) place_[i] = of.columns_[i]->column;
    }
    cells_.assign(of.schema_.n_columns(), orvik::k_unknown_text);
    class_ = of.schema_.class_column().index();
  }

  void cell(unsigned long column, std::string_view text, unsigned long) override {
    if (place_[column] != k_nowhere) cells_[place_[column]] = of_.columns_[column]->text_of(text);
  }

  bool end_of_row(unsigned long, unsigned long) override {
    const bool known = cells_[class_] != orvik::k_unknown_text;
    for (std::string& cell : cells_) {
      to_.add_cell() += cell;
      cell = orvik::k_unknown_text;
    }
    known ? to_.end_row() : to_.drop_row();
    return true;
  }

 private:
  new_rows& of_;
  orvprep::table_text& to_;
  std::vector<unsigned long> place_;  // by column of the file, among the model's
  std::vector<std::string> cells_;
  unsigned long class_;
};

std::unique_ptr<orvik::table> new_rows::load() {
  orvprep::table_text text;
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) {
    const orvik::column_view c = schema_.column(i);
    std::string type = c.type();
    if (c.is_ordered()) {
      type += ':';
      for (orvik::code_t v = 1; v <= c.n_values(); ++v) type += (v > 1 ? ";" : "") + c.exact(v);
    }
    text.add_column(c.name(), type, c.role_name());
  }
  table_visitor visit(*this, text);
  rows_->read(visit);
  auto table = text.load(base_name(rows_->file()), rows_->file());
  if (!how_.plan.frequencies) table->rescale_weights();
  return table;
}

void new_rows::read(const std::vector<unsigned long>& kept,
                    const std::function<void(row_block&)>& take) {
  visitor visit(*this, kept, take);
  rows_->read(visit);
  visit.end();
  tell_values();
}

}  // namespace orvverbs
