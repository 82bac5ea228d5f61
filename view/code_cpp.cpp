// Models as C++: tables of nodes rather than nested conditions, so that compilers take large trees
// at once; and the same steps in the same arithmetic as the library's own predictions.
#include <cctype>
#include <set>

#include "code_costs.h"
#include "code_cpp_text.h"
#include "forms.h"
#include "node_tables.h"
#include "wording.h"
#include "zel/text/decimal.h"

namespace orvik::view {

namespace {

constexpr std::size_t k_longest_name = 60;

/// The type of a column's values in C++.
std::string type_of(const orvik::column_view& c) {
  if (!c.is_numeric()) return "std::string";
  const std::string type = c.type();
  return type == "integer" ? "int" : type == "uinteger" ? "unsigned" : type;
}

/// A value of a column as a literal of its type.
std::string literal_of(const orvik::column_view& c, orvik::code_t code) {
  std::string text = c.exact(code);
  if (!c.is_numeric()) return cpp_literal(text) + "sv";
  const std::string type = type_of(c);
  if (type == "int") return text;
  if (type == "unsigned") return text + 'u';
  if (text.find_first_of(".e") == text.npos) text += ".0";
  return text + (type == "float" ? "f" : type == "double" ? "" : "L");
}

class cpp_writer {
 public:
  cpp_writer(const orvik::dtree& model, std::ostream& out)
      : model_(model),
        schema_(model.get_schema()),
        words_(model),
        tables_(chosen_tree{model}),
        out_(out) {
    name_fields();
  }

  void write();

 private:
  void name_fields();
  void write_row();
  void write_classes();
  void write_nodes();
  void write_values(std::size_t i);
  void write_codes();
  void write_answers();
  void write_calibrated_answers();
  void write_costs();
  void write_descent();
  void write_shares(const char* name);
  void write_reading();
  template <class Item>
  void write_array(const std::string& declaration, std::size_t n, const Item& item);

  const orvik::dtree& model_;
  orvik::schema_view schema_;
  wording words_;
  node_tables tables_;
  std::vector<std::string> fields_;  // of the tested columns
  std::ostream& out_;
};

/// Letters, digits and single "_" of the name, and one more behind them, with which it is no
/// keyword and no macro.
void cpp_writer::name_fields() {
  std::set<std::string> taken;
  for (const tested_column& c : tables_.columns) {
    std::string name;
    for (const char letter : c.column.name().substr(0, k_longest_name)) {
      const bool keeps = std::isalnum(static_cast<unsigned char>(letter)) != 0 && letter > 0;
      if (keeps) name += letter;
      if (!keeps && !name.empty() && name.back() != '_') name += '_';
    }
    if (!name.empty() && name.back() == '_') name.pop_back();
    const bool begins = !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) == 0;
    if (!begins) name.insert(0, "field");
    name += '_';
    std::string unique = name;
    for (int i = 2; !taken.insert(unique).second; ++i) {
      unique = name;
      unique.append(std::to_string(i)).append("_");
    }
    fields_.push_back(unique);
  }
}

void cpp_writer::write_row() {
  out_ << "struct row {\n";
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const orvik::column_view c = tables_.columns[i].column;
    out_ << "  std::optional<" << type_of(c) << "> " << fields_[i] << ";  // "
         << cpp_literal(c.name()) << '\n';
  }
  out_ << "};\n";
}

/// An array; std::array may be empty.
template <class Item>
void cpp_writer::write_array(const std::string& declaration, std::size_t n, const Item& item) {
  out_ << "inline constexpr std::array<" << declaration << "{" << (n == 0 ? "" : "{") << '\n';
  for (std::size_t i = 0; i < n; ++i) {
    item(i);
    out_ << ",\n";
  }
  out_ << (n == 0 ? "" : "}") << "};\n";
}

std::string declared(const std::string& type, std::size_t n, const std::string& name) {
  return type + ", " + std::to_string(n) + "> " + name;
}

void cpp_writer::write_classes() {
  const unsigned long n = schema_.n_class_codes();
  out_ << "\n// By class code; the first is the unknown class.\n";
  write_array(declared("std::string_view", n, "class_names"), n, [this](std::size_t code) {
    out_ << "  " << cpp_literal(schema_.class_column().printed(code)) << "sv";
  });
}

void cpp_writer::write_nodes() {
  const std::vector<unsigned long>& roots = tables_.roots;
  const bool averages = model_.get_combination() == orvik::combination::shares;
  out_ << "inline constexpr bool votes = " << (model_.votes() ? "true" : "false")
       << ", averages = " << (averages ? "true" : "false") << ";\n";
  write_array(declared("int", roots.size(), "roots"), roots.size(),
              [&](std::size_t i) { out_ << "  " << roots[i]; });
  write_array(declared("double", roots.size(), "tree_votes"), roots.size(), [&](std::size_t i) {
    out_ << "  " << zel::text::shortest_decimal(model_.get_votes(i));
  });
  out_ << "inline const node nodes[] = {\n";
  for (const table_node& n : tables_.nodes) {
    out_ << '{' << n.column << ',' << n.limit << ',' << n.first << ',' << n.n << ','
         << zel::text::shortest_decimal(n.weight) << "},\n";
  }
  out_ << "};\ninline const share leaf_shares[] = {\n";
  for (const class_share& s : tables_.shares) {
    out_ << '{' << s.class_code << ',' << zel::text::shortest_decimal(s.weight) << "},\n";
  }
  out_ << "{0,0}};\n";
}

void cpp_writer::write_values(std::size_t i) {
  const tested_column& tested = tables_.columns[i];
  const orvik::column_view c = tested.column;
  const std::string number = std::to_string(i);
  const std::string type = tested.is_numeric() ? type_of(c) : "std::string_view";
  if (tested.is_cut()) {
    const bool by_place = !tested.is_numeric();
    write_array(declared(by_place ? "int" : type, tested.cuts.size(), "cuts_" + number),
                tested.cuts.size(), [&](std::size_t k) {
                  const orvik::code_t code = tested.cuts[k];
                  out_ << "  " << (by_place ? std::to_string(code) : literal_of(c, code));
                });
    if (!by_place) return;
  }
  const unsigned long n = c.n_values();
  write_array(declared(type, n, "values_" + number), n,
              [&](std::size_t k) { out_ << "  " << literal_of(c, k + 1); });
}

/// Costs are by actual, then by predicted class code.
void cpp_writer::write_costs() {
  const std::vector<double> prior = model_.get_prior();
  if (!prior.empty()) {
    write_array(declared("double", prior.size(), "prior"), prior.size(),
                [&](std::size_t c) { out_ << "  " << zel::text::shortest_decimal(prior[c]); });
  }
  if (!model_.decides_by_costs()) return;
  const std::vector<double> costs = cost_table(model_);
  write_array(declared("double", costs.size(), "costs"), costs.size(),
              [&](std::size_t i) { out_ << "  " << zel::text::shortest_decimal(costs[i]); });
}

void cpp_writer::write_codes() {
  out_ << "inline codes codes_of(const row& values) {\n  codes of{};\n";
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const tested_column& tested = tables_.columns[i];
    const bool cuts_numbers = tested.is_cut() && tested.is_numeric();
    const bool cuts_places = tested.is_cut() && !tested.is_numeric();
    const bool listed = tested.column.is_ordered();
    out_ << "  of[" << i << "] = " << (cuts_places ? "ordered_cut_code(" : "")
         << (cuts_numbers ? "cut_code"
             : listed     ? "listed_code"
                          : "value_code")
         << "(values." << fields_[i] << (cuts_numbers ? ", cuts_" : ", values_") << i;
    if (const orvik::code_t unknown = tested.column.code_of_unknown()) out_ << ", " << unknown;
    out_ << ')';
    if (cuts_places) out_ << ", cuts_" << i << ')';
    out_ << ";\n";
  }
  out_ << (fields_.empty() ? "  static_cast<void>(values);\n" : "") << "  return of;\n}\n";
}

void cpp_writer::write_descent() {
  out_ << k_descend << (leans(model_) ? k_leaning_leaf : k_leaf) << k_descent;
  if (model_.decides_by_costs()) {
    out_ << k_costs_descent;
  } else if (leans(model_) && !model_.is_calibrated()) {
    out_ << k_leaning_descent;
  }
}

void cpp_writer::write_shares(const char* name) {
  const std::string to = "detail::votes && detail::averages ? detail::purpose::decide\n" +
                         std::string(52, ' ') + ": detail::purpose::shares";
  out_ << k_shares << name
       << (leans(model_) ? reworded(k_shares_body, {{to, "detail::purpose::shares"}})
                         : std::string(k_shares_body));
}

void cpp_writer::write_answers() {
  std::string classify = k_classify;
  if (leans(model_)) {
    classify = reworded(classify,
                        {{"detail::ask(detail::roots[0]", "detail::ask_by_shares(detail::roots[0]"},
                         {"detail::purpose::decide", "detail::purpose::shares"}});
  }
  if (model_.decides_by_costs()) {
    const char* const asked = leans(model_) ? "detail::ask_by_shares(" : "detail::ask(";
    classify = reworded(classify, {{asked, "detail::ask_by_costs("},
                                   {"detail::first_largest(votes)", "detail::cheapest(votes)"}});
  }
  out_ << classify << k_predict;
  write_shares("shares");
}

void cpp_writer::write_calibrated_answers() {
  const std::vector<orvik::share_map> maps = model_.get_share_maps();
  const auto number = [](double x) { return zel::text::shortest_decimal(x); };
  write_shares("plain_shares");
  out_ << k_knots << "inline const knot knots[] = {\n";
  for (const orvik::share_map& map : maps) {
    for (std::size_t i = 0; i < map.x.size(); ++i) {
      out_ << '{' << number(map.x[i]) << ',' << number(map.y[i]) << "},\n";
    }
  }
  out_ << "{0,0}};\n// Of two known classes one, of the second; of more one for each.\n"
       << "inline const map maps[] = {\n";
  std::size_t first = 0;
  for (const orvik::share_map& map : maps) {
    out_ << '{' << first << ',' << map.x.size() << ',' << number(map.a) << ',' << number(map.b)
         << "},\n";
    first += map.x.size();
  }
  const bool by_costs = model_.decides_by_costs();
  out_ << "};\n"
       << (by_costs
               ? reworded(k_calibration, {{"detail::first_largest(all)", "detail::cheapest(all)"}})
               : std::string(k_calibration))
       << k_predict;
}

void cpp_writer::write_reading() {
  out_ << "constexpr std::size_t n_columns = " << schema_.n_columns()
       << ";\nconstexpr int class_column = " << schema_.class_column().index()
       << ", weights_column = "
       << (schema_.has_weights() ? static_cast<long>(schema_.weights_index()) : -1L)
       << ";\nconstexpr bool has_weights = weights_column >= 0;\nconstexpr std::string_view "
          "unknown = "
       << cpp_literal(schema_.class_column().unknown_text())
       << "sv;\n\ninline void set_field(row& values, int column, const std::string& text) {\n";
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    out_ << "  if (column == " << tables_.columns[i].column.index() << ") values." << fields_[i]
         << " = value_of<" << type_of(tables_.columns[i].column) << ">(text);\n";
  }
  out_ << (fields_.empty() ? "  (void)values, (void)column, (void)text;\n" : "") << "}\n";
}

void cpp_writer::write() {
  out_ << "// The class " << cpp_literal(schema_.class_column().name()) << " by the model "
       << cpp_literal(words_.model_name()) << ": written by orvik view.\n"
       << k_head;
  write_row();
  write_classes();
  out_ << k_types << "using codes = std::array<int, " << std::max<std::size_t>(1, fields_.size())
       << ">;\n\n";
  write_nodes();
  for (std::size_t i = 0; i < fields_.size(); ++i) write_values(i);
  write_costs();
  out_ << k_codes;
  write_codes();
  write_descent();
  model_.is_calibrated() ? write_calibrated_answers() : write_answers();
  out_ << k_values;
  write_reading();
  out_ << k_main;
}

}  // namespace

void write_cpp(const orvik::dtree& model, std::ostream& out) { cpp_writer(model, out).write(); }

}  // namespace orvik::view
