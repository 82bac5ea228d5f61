#include "text_table.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <numeric>
#include <span>
#include <stdexcept>

#include "intake.h"
#include "memory_file.h"
#include "orvik/orvik.h"
#include "zel/text/decimal.h"
#include "zel/util/run_context.h"

namespace orvprep {

namespace {

using code = std::uint32_t;

/// The unknown value of the table of texts: a text that the files taken do not have.
constexpr char k_no_text[] = "\1";

/// Copies text that only separators and line ends structure.
class plain_text {
 public:
  plain_text(char separator, memory_file& to) : separator_(separator), to_(to) {}

  /// @return whether all of it is plain so far. Quotes around plain cells are left out.
  bool add(std::string_view text) {
    held_ += text;
    const std::size_t whole = held_.rfind('\n') + 1;  // 0 without a line end
    const bool good = take(std::string_view(held_).substr(0, whole));
    held_.erase(0, whole);
    return good;
  }
  bool end() {
    if (held_.empty()) return true;
    held_ += '\n';
    return take(held_);
  }

 private:
  bool take(std::string_view lines) {
    if (in_header) {
      const std::size_t end = lines.find('\n');
      if (end == lines.npos) return true;
      const std::string_view header = lines.substr(0, end);
      if (std::ranges::count(header, '"') % 2 != 0) return false;
      lines.remove_prefix(end + 1);
      in_header = false;
    }
    if (!is_plain(lines)) return false;
    if (std::memchr(lines.data(), '"', lines.size()) == nullptr) {
      to_.write(lines);
      return true;
    }
    return write_unquoted(lines);
  }

  /// Whether there are neither empty lines nor characters that mean something else elsewhere.
  bool is_plain(std::string_view lines) const {
    bool bad = !lines.empty() && (lines[0] == '\n' || lines[0] == '\r');
    const bool by_tab = separator_ == '\t';
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
      const char c = lines[i], next = lines[i + 1];
      bad |= (c == '\n') & ((next == '\n') | (next == '\r'));
      bad |= (c == '\r') & (next != '\n');
      const auto byte = static_cast<unsigned char>(c);
      bad |= (byte < 0x20) & (c != '\n') & (c != '\r') & !((c == '\t') & by_tab);
    }
    return !bad;
  }

  bool write_unquoted(std::string_view lines) {
    unquoted_.clear();
    bool at_start = true;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const char c = lines[i];
      if (c != '"') {
        at_start = c == separator_ || c == '\n' || (at_start && c == ' ');
        unquoted_ += c;
        continue;
      }
      const std::size_t end = lines.find('"', i + 1);
      if (!at_start || end == lines.npos) return false;
      const std::string_view cell = lines.substr(i + 1, end - i - 1);
      const char next = lines[end + 1];  // lines end with a line end
      const bool ends = next == separator_ || next == '\n' || next == '\r';
      if (!ends || cell.find(separator_) != cell.npos || cell.find('\n') != cell.npos) return false;
      unquoted_ += cell;
      at_start = false;
      i = end;
    }
    to_.write(unquoted_);
    return true;
  }

  char separator_;
  memory_file& to_;
  std::string held_, unquoted_;

 public:
  bool in_header = false;
};

/// The bytes of a table in the binary form that the library reads.
class table_bytes {
 public:
  template <class T>
  void add(T value) {
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void add_flag(bool flag) { bytes_ += flag ? '\1' : '\0'; }
  void add_text(const std::string& text) {
    add_flag(true);
    add<std::uint64_t>(text.size());
    bytes_ += text;
  }
  template <class T>
  void add_array(std::span<const T> values) {
    bytes_.append(reinterpret_cast<const char*>(values.data()), values.size_bytes());
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// A column of the typed table: its values, and of every row the code.
struct typed_column {
  std::vector<std::string> texts;  // of a column of texts
  std::vector<double> reals;
  std::vector<std::int32_t> whole;
  std::size_t n = 0;        // values
  std::vector<code> codes;  // of the texts' codes, first; then of the rows
  bool has_unknown = false;
};

/// The place of every text's value among the different ones, from 1; `values` become those.
template <class T>
void rank(std::vector<T>& values, const std::vector<code>& of, std::vector<code>& codes) {
  std::vector<code> order(values.size());
  std::iota(order.begin(), order.end(), 0U);
  const auto before = [&values](code a, code b) { return values[a] < values[b]; };
  if (!std::ranges::is_sorted(values)) std::ranges::sort(order, before);
  std::vector<T> different;
  for (const code i : order) {
    if (different.empty() || different.back() < values[i]) different.push_back(values[i]);
    codes[of[i]] = static_cast<code>(different.size());
  }
  values.swap(different);
}

/// "ostring:a;b" -> a, b
std::vector<std::string> declared(const std::string& type) {
  std::vector<std::string> values;
  for (std::size_t at = type.find(':') + 1; at <= type.size();) {
    const std::size_t end = std::min(type.find(';', at), type.size());
    values.push_back(type.substr(at, end - at));
    at = end + 1;
  }
  return values;
}

class column_maker {
 public:
  column_maker(const orvik::column_view& texts, const table_plan& plan, const column_plan& column)
      : texts_(texts), plan_(plan), column_(column) {}

  /// By code of the texts that some row has; others are passed over.
  typed_column make(const std::vector<bool>& used) {
    made_.codes.assign(used.size(), 0);
    std::string written;
    for (code c = 1; c < used.size(); ++c) {
      if (!used[c]) continue;
      written.clear();
      append_cell(plan_, column_, texts_.exact(c), written);
      written == k_unknown ? note_unknown() : add(c, written);
    }
    finish();
    return std::move(made_);
  }

 private:
  void note_unknown() { made_.has_unknown = true; }

  void add(code c, const std::string& text) {
    of_.push_back(c);
    if (column_.type == "integer") {
      std::int32_t value = 0;
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
      if (error != std::errc() || end != text.data() + text.size()) refuse(text);
      made_.whole.push_back(value);
    } else if (column_.type == "double") {
      const auto value = zel::text::parse_decimal<double>(text);
      if (!value) refuse(text);
      made_.reals.push_back(*value);
    } else {
      made_.texts.push_back(text);
    }
  }

  [[noreturn]] void refuse(const std::string& text) const {
    throw std::runtime_error("column '" + column_.name + "': not a number: '" + text + "'");
  }

  void finish() {
    if (column_.type.starts_with("ostring:")) return place_declared();
    if (column_.type == "integer") {
      rank(made_.whole, of_, made_.codes);
      made_.n = made_.whole.size();
    } else if (column_.type == "double") {
      rank(made_.reals, of_, made_.codes);
      made_.n = made_.reals.size();
    } else {
      rank(made_.texts, of_, made_.codes);
      made_.n = made_.texts.size();
    }
  }

  void place_declared() {
    const std::vector<std::string> all = declared(column_.type);
    for (std::size_t i = 0; i < of_.size(); ++i) {
      const auto at = std::ranges::find(all, made_.texts[i]);
      if (at == all.end()) {
        throw std::runtime_error("column '" + column_.name + "': value not in its order: '" +
                                 made_.texts[i] + "'");
      }
      made_.codes[of_[i]] = static_cast<code>(at - all.begin() + 1);
    }
    made_.texts = all;
    made_.n = all.size();
  }

  const orvik::column_view& texts_;
  const table_plan& plan_;
  const column_plan& column_;
  typed_column made_;
  std::vector<code> of_;  // the texts' codes of the values added
};

void write_values(const column_plan& column, const typed_column& made, table_bytes& to) {
  to.add_flag(true);
  to.add_text(column.type);
  to.add_flag(!column.is("class") && !column.is("weights"));
  to.add_flag(made.has_unknown);
  to.add_text(k_unknown);
  if (column.type == "null") return;
  to.add_flag(true);
  to.add<std::uint64_t>(made.n);
  to.add_array(std::span<const std::int32_t>(made.whole));
  to.add_array(std::span<const double>(made.reals));
  for (const std::string& text : made.texts) to.add_text(text);
}

template <class T>
void write_codes_as(const std::vector<code>& codes, table_bytes& to) {
  const std::vector<T> narrow(codes.begin(), codes.end());
  to.add<std::uint64_t>(narrow.size());
  to.add_array(std::span<const T>(narrow));
}

void write_codes(const column_plan& column, const typed_column& made, table_bytes& to) {
  if (column.type == "null") return;
  if (column.is("discrete") && made.n <= 2 && !made.has_unknown) {
    std::vector<std::uint64_t> words((made.codes.size() + 63) / 64);
    for (std::size_t r = 0; r < made.codes.size(); ++r) {
      words[r / 64] |= static_cast<std::uint64_t>(made.codes[r] == 2) << (r % 64);
    }
    to.add<std::uint64_t>(made.codes.size());
    to.add_array(std::span<const std::uint64_t>(words));
  } else if (made.n < std::numeric_limits<std::uint8_t>::max()) {
    write_codes_as<std::uint8_t>(made.codes, to);
  } else if (made.n < std::numeric_limits<std::uint16_t>::max()) {
    write_codes_as<std::uint16_t>(made.codes, to);
  } else {
    write_codes_as<std::uint32_t>(made.codes, to);
  }
}

/// Loads rows of `n` columns of texts; null where the loader refuses them.
std::unique_ptr<orvik::table> load_texts(const memory_file& rows, std::size_t n, char separator) {
  memory_file names;
  for (std::size_t i = 0; i < n; ++i) {
    const char* const role = i + 1 < n ? "discrete" : "class";
    names.write(std::to_string(i) + k_inner_separator + "string" + k_inner_separator + role + "\n");
  }
  auto table = std::make_unique<orvik::table>("");
  try {
    table->load_meta_data(names.path(), k_inner_separator, k_no_text);
    table->load_data(rows.path(), separator, orvik::get_n_workers(), /*log=*/nullptr);
  } catch (const std::runtime_error&) {  // whoever reads cell by cell can say what is wrong
    return nullptr;
  }
  return table;
}

}  // namespace

std::unique_ptr<text_table> text_table::of(source& in, const layout& form) {
  const bool known = std::string_view(",;\t|").find(form.separator) != std::string_view::npos;
  if (!known || form.n_comments > 0 || form.names.size() < 2) return nullptr;
  memory_file rows;
  plain_text plain(form.separator, rows);
  plain.in_header = form.has_header;
  in.rewind();
  for (std::string_view text = in.read(); !text.empty(); text = in.read()) {
    if (!plain.add(text)) return nullptr;
  }
  if (!plain.end()) return nullptr;
  std::unique_ptr<orvik::table> texts = load_texts(rows, form.names.size(), form.separator);
  if (!texts) return nullptr;
  return std::unique_ptr<text_table>(new text_table(std::move(texts), form.has_header ? 2 : 1));
}

std::vector<code> text_table::codes_of(unsigned long column) const {
  const orvik::column_view view = texts_->get_schema().column(column);
  std::vector<code> codes(n_rows());
  for (std::size_t r = 0; r < codes.size(); ++r) codes[r] = static_cast<code>(view.code_in(r));
  return codes;
}

void text_table::profile(std::vector<column_profile>& profiles) const {
  const auto profile_column = [&](unsigned long i) {
    const orvik::column_view view = texts_->get_schema().column(i);
    const std::vector<code> codes = codes_of(i);
    std::vector<unsigned long> counts(view.n_values() + 1);
    for (const code c : codes) ++counts[c];
    for (std::size_t r = 0; r < codes.size(); ++r) {
      unsigned long& count = counts[codes[r]];
      if (count > 0) profiles[i].add(view.exact(codes[r]), first_line_ + r, count);
      count = 0;
    }
  };
  const zel::util::run_context& run = zel::util::default_context();
  run.with_workers([&] { run.for_each_index(profiles.size(), profile_column); });
}

std::unique_ptr<orvik::table> text_table::typed(const std::string& name, const table_plan& plan,
                                                unsigned long& n_dropped) const {
  const orvik::schema_view schema = texts_->get_schema();
  const auto index_of = [&plan](const char* role) {
    const auto at = std::ranges::find(plan.columns, role, &column_plan::role);
    return static_cast<std::size_t>(at - plan.columns.begin());
  };
  const std::size_t class_index = index_of("class"), weights_index = index_of("weights");

  // Rows of a known class.
  std::vector<code> kept(n_rows());
  std::iota(kept.begin(), kept.end(), 0U);
  {
    const orvik::column_view view = schema.column(class_index);
    std::vector<bool> unknown(view.n_values() + 1);
    const column_plan& column = plan.columns[class_index];
    for (code c = 1; c < unknown.size(); ++c) {
      unknown[c] = plan.cells.is_unknown(view.exact(c), column.reading);
    }
    if (std::ranges::find(unknown, true) != unknown.end()) {
      const std::vector<code> codes = codes_of(class_index);
      std::erase_if(kept, [&](code r) { return unknown[codes[r]]; });
    }
  }
  n_dropped = n_rows() - kept.size();
  if (kept.empty()) throw std::runtime_error("no rows of known class");

  std::vector<table_bytes> parts(plan.columns.size());
  const auto make_column = [&](unsigned long i) {
    const column_plan& column = plan.columns[i];
    typed_column made;
    if (column.type == "null") {
      made.has_unknown = true;
    } else {
      const orvik::column_view view = schema.column(i);
      const std::vector<code> codes = codes_of(i);
      std::vector<bool> used(view.n_values() + 1, n_dropped == 0);
      for (std::size_t r = 0; n_dropped > 0 && r < kept.size(); ++r) used[codes[kept[r]]] = true;
      made = column_maker(view, plan, column).make(used);
      std::vector<code> of_rows(kept.size());
      for (std::size_t r = 0; r < kept.size(); ++r) of_rows[r] = made.codes[codes[kept[r]]];
      made.codes.swap(of_rows);
    }
    parts[i].add_flag(true);
    write_values(column, made, parts[i]);
    parts[i].add_text(plan.cells.written(column.name));
    parts[i].add_text(column.role);
    write_codes(column, made, parts[i]);
  };
  const zel::util::run_context& run = zel::util::default_context();
  run.with_workers([&] { run.for_each_index(parts.size(), make_column); });

  table_bytes head, tail;
  head.add_flag(true);
  head.add_text(name);
  head.add<std::uint64_t>(parts.size());
  tail.add<std::uint64_t>(class_index);
  tail.add<std::uint64_t>(kept.size());
  tail.add_flag(true);
  tail.add<std::uint64_t>(weights_index);
  memory_file file;
  file.write(head.bytes());
  for (const table_bytes& part : parts) file.write(part.bytes());
  file.write(tail.bytes());
  return std::unique_ptr<orvik::table>(orvik::table::fromBinary(file.path()));
}

}  // namespace orvprep
