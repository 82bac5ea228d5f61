#include "row_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "layout.h"
#include "orvik/orvik.h"
#include "source.h"
#include "zel/text/field_split.h"

namespace orvverbs {

namespace {

namespace fs = std::filesystem;

constexpr char k_model[] = ": this is a model, not rows";
constexpr char k_nul[] = ": holds NUL bytes: is this a text file?";
constexpr char k_other_length[] = " cells instead of ";

/// `name` without an ending that it has.
std::optional<std::string> without(const std::string& name, const char* ending) {
  if (!name.ends_with(ending)) return std::nullopt;
  return name.substr(0, name.size() - std::string(ending).size());
}

bool is_file(const std::string& name) {
  std::error_code error;
  return fs::is_regular_file(name, error);
}

/// The file or its compressed form; the plain name where there is neither.
std::string plain_or_gz(const std::string& name) {
  return !is_file(name) && is_file(name + ".gz") ? name + ".gz" : name;
}

/// What the two files of a pair have in common; nothing where `file` is of none.
std::optional<std::string> stem_of(const std::string& file) {
  for (const char* ending : {".names", ".data", ".names.gz", ".data.gz"}) {
    auto stem = without(file, ending);
    if (stem && is_file(plain_or_gz(*stem + ".names"))) return stem;
  }
  const bool is_stem = !is_file(file) && is_file(plain_or_gz(file + ".names"));
  return is_stem ? std::optional(file) : std::nullopt;
}

class delimited_file : public row_file {
 public:
  delimited_file(const std::string& file, char separator, char comment,
                 const std::vector<std::string>& known)
      : row_file(file), bytes_(file) {
    using orvprep::header_mode;
    find_encoding();
    orvprep::layout_wishes wishes{separator, header_mode::find_out, 0, comment};
    form_ = orvprep::layout_of(bytes_, wishes);
    // Names that a model knows are a header, whatever they look like.
    if (form_.counts_line == 0) wishes.header = header_mode::present;
    form_ = orvprep::layout_of(bytes_, wishes);
    const auto is_known = [&known](const std::string& name) {
      return std::ranges::find(known, name) != known.end();
    };
    if (!std::ranges::any_of(form_.names, is_known)) {
      wishes.header = header_mode::find_out;
      form_ = orvprep::layout_of(bytes_, wishes);
      // A header of strange names is one; where it could be a row, places decide.
      has_names_ = form_.has_header && form_.names.size() != known.size();
    }
    names_ = form_.names;
  }

  void read(orvprep::row_visitor& visit) override {
    below_header below(*this, visit);
    orvprep::csv_rows(file_, form_.separator).read(bytes_, below);
  }

 private:
  class below_header : public orvprep::row_visitor {
   public:
    below_header(const delimited_file& of, row_visitor& to)
        : of_(of), to_(to), in_header_(of.form_.has_header) {}
    void cell(unsigned long column, std::string_view text, unsigned long line) override {
      if (!in_header_ && column < of_.names_.size()) to_.cell(column, text, line);
    }
    bool end_of_row(unsigned long n, unsigned long line) override {
      if (in_header_) {
        in_header_ = false;
        return true;
      }
      if (n == of_.form_.n_cells()) return to_.end_of_row(of_.names_.size(), line);
      throw orvprep::file_error(
          of_.file_, line,
          std::to_string(n) + k_other_length + std::to_string(of_.form_.n_cells()));
    }

   private:
    const delimited_file& of_;
    row_visitor& to_;
    bool in_header_;
  };

  /// Which one it is shows at the end at the latest, when rows would have been used already.
  void find_encoding() {
    try {
      while (!bytes_.read().empty()) {
      }
    } catch (const orvprep::other_encoding&) {
      bytes_.rewind();
      find_encoding();
    }
  }

  orvprep::source bytes_;
  orvprep::layout form_;
};

/// Data without quotes under the names of a metadata file.
class pair_file : public row_file {
 public:
  pair_file(const std::string& file, char separator)
      : row_file(pair_of(file).data), bytes_(file_, orvprep::encoding::utf8) {
    const std::string names = pair_of(file).names;
    separator_ = separator == 0 ? separator_in(names) : separator;
    orvik::table schema(file);
    schema.load_meta_data(names, separator_, orvik::k_unknown_text);
    names_ = schema.get_schema().unique_names();
  }

  void read(orvprep::row_visitor& visit) override {
    std::string rest;
    line_ = 0;
    for (std::string_view bytes = bytes_.read(); !bytes.empty(); bytes = bytes_.read()) {
      rest += bytes;
      if (rest.find('\0') != rest.npos) throw std::runtime_error(file_ + k_nul);
      std::string_view lines(rest);
      for (std::size_t end; (end = lines.find('\n')) != lines.npos;) {
        if (!take(lines.substr(0, end), visit)) return;
        lines.remove_prefix(end + 1);
      }
      rest.erase(0, rest.size() - lines.size());
    }
    if (!rest.empty()) take(rest, visit);
    bytes_.rewind();
  }

 private:
  bool take(std::string_view line, orvprep::row_visitor& visit) {
    ++line_;
    if (line.ends_with('\r')) line.remove_suffix(1);
    zel::text::split_fields(line, separator_, /*trim=*/true, cells_);
    if (cells_.size() != names_.size()) {
      throw orvprep::file_error(
          file_, line_,
          std::to_string(cells_.size()) + k_other_length + std::to_string(names_.size()));
    }
    for (std::size_t i = 0; i < cells_.size(); ++i) visit.cell(i, cells_[i], line_);
    return visit.end_of_row(cells_.size(), line_);
  }

  char separator_;
  orvprep::source bytes_;
  unsigned long line_ = 0;
  std::vector<std::string_view> cells_;
};

class table_file : public row_file {
 public:
  explicit table_file(const std::string& file)
      : row_file(file), table_(orvik::table::fromBinary(file)) {
    names_ = table_->get_schema().unique_names();
  }

  void read(orvprep::row_visitor& visit) override {
    const orvik::schema_view schema = table_->get_schema();
    std::vector<orvik::column_view> columns;
    for (unsigned long i = 0; i < schema.n_columns(); ++i) columns.push_back(schema.column(i));
    for (orvik::row_t row = 0; row < table_->get_no_rows(); ++row) {
      for (const orvik::column_view& c : columns) {
        const orvik::code_t code = c.code_in(row);
        visit.cell(c.index(), code == orvik::k_unknown ? orvik::k_unknown_text : c.exact(code),
                   row + 1);
      }
      if (!visit.end_of_row(columns.size(), row + 1)) return;
    }
  }

 private:
  std::unique_ptr<orvik::table> table_;
};

}  // namespace

file_kind kind_of(const std::string& file) {
  if (file == "-") return file_kind::delimited;
  if (stem_of(file)) return file_kind::pair;
  if (!is_file(file)) return file_kind::delimited;
  if (orvik::table::is_mapped(file)) return file_kind::table;
  orvprep::source bytes(file, orvprep::encoding::utf8);  // as they are
  const std::string_view start = bytes.read();
  // A record that is there begins with a 1; a model goes on with the greatest depth of its trees,
  // most often none, a table with a 1 and the length of its name.
  if (start.starts_with("\1\xff\xff\xff\xff\xff\xff\xff\xff")) {
    throw std::runtime_error(file + k_model);
  }
  const bool is_table = start.starts_with("\1\1") && start.substr(0, 10).find('\0') != start.npos;
  return is_table ? file_kind::table : file_kind::delimited;
}

pair_names pair_of(const std::string& file) {
  const std::string stem = stem_of(file).value_or(file);
  return {plain_or_gz(stem + ".names"), plain_or_gz(stem + ".data")};
}

char separator_in(const std::string& names) {
  orvprep::source bytes(names, orvprep::encoding::utf8);
  std::string_view line = bytes.read();
  line = line.substr(0, line.find_first_of("\r\n"));
  for (const std::string_view role : {"discrete", "continuous", "class", "weights", "ignore"}) {
    const std::size_t at = line.rfind(role);
    if (at == line.npos || at == 0) continue;
    const std::string_view before = line.substr(0, at);
    const std::size_t mark = before.find_last_not_of(' ');
    const bool blank =
        mark == before.npos || std::isalnum(static_cast<unsigned char>(before[mark]));
    return blank ? ' ' : before[mark];
  }
  return ',';
}

std::string base_name(const std::string& file) {
  std::string name = fs::path(file).filename().string();
  for (const char* ending : {".gz", ".names", ".data", ".csv", ".tsv", ".txt", ".orvik", ".tree"}) {
    if (const auto less = without(name, ending); less && !less->empty()) name = *less;
  }
  return name.empty() || name == "-" ? "model" : name;
}

std::unique_ptr<row_file> open_row_file(const std::string& file, char separator, char comment,
                                        const std::vector<std::string>& known) {
  switch (kind_of(file)) {
    case file_kind::pair:
      return std::make_unique<pair_file>(file, separator);
    case file_kind::table:
      return std::make_unique<table_file>(file);
    case file_kind::delimited:
      break;
  }
  return std::make_unique<delimited_file>(file, separator, comment, known);
}

}  // namespace orvverbs
