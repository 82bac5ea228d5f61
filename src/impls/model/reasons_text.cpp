// The reasons of predictions for rows of text, as a table.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "impls/evaluation/batch_coder.h"
#include "impls/evaluation/row_blocks.h"
#include "impls/evaluation/row_predictor.h"
#include "impls/model/explainer.h"
#include "zel/util/number_util.h"

namespace orvik::impls {

namespace {

constexpr char k_cannot_write_reasons[] = "[explainer::write] cannot write";
constexpr char k_reading_title[] = "Reading score data: ";

/// The shortest digits that are read as the number, in any locale.
void append_exact(std::string& line, double value) {
  std::array<char, 32> room;
  value = zel::util::number_util::plain_nan(value);
  line.append(room.data(), std::to_chars(room.data(), room.data() + room.size(), value).ptr);
}

/// As RFC 4180 has it: what holds the separator, a quote or the end of a line is quoted.
void append_name(std::string& line, const std::string& name, char separator) {
  const char special[] = {separator, '"', '\r', '\n', '\0'};
  if (name.find_first_of(special) == std::string::npos) {
    line += name;
    return;
  }
  line += '"';
  for (const char c : name) line.append(c == '"' ? 2 : 1, c);
  line += '"';
}

/// Lines that await the numbers of their rows.
struct reason_lines {
  std::string text;
  std::vector<std::size_t> ends;  // of the lines
};
auto items_of(reason_lines& lines) { return std::tie(lines.text, lines.ends); }

/// The lines of one row after the other.
class reason_writer {
 public:
  reason_writer(const explainer& of, const dtree& model, char separator, const reason_form& form)
      : of_(of),
        base_(of.base()),
        model_(model),
        classes_(model.class_names()),
        separator_(separator),
        form_(form) {
    for (const unsigned long a : of.attributes()) {
      names_.push_back(model.get_training_table()->column_of(a).name());
    }
    n_named_ = std::min<std::size_t>(form.most, names_.size());
  }

  std::size_t lines_a_row() const { return form_.predicted_only ? 1 : base_.size() - 1; }

  std::string header() const {
    std::string line = "row";
    for (const char* each : {"class", "base"}) (line += separator_) += each;
    for (std::size_t i = 0; i < names_.size() && form_.most == 0; ++i) {
      append_name(line += separator_, names_[i], separator_);
    }
    for (std::size_t i = 1; i <= n_named_; ++i) {
      const std::string number = std::to_string(i);
      ((line += separator_) += "attribute" + number + separator_) += "part" + number;
    }
    if (form_.most > 0) (line += separator_) += "others";
    ((line += separator_) += of_.share_name()) += '\n';
    return line;
  }

  void append(std::span<const std::uint32_t> codes, std::span<const double> parts,
              reason_lines& to) {
    codes_.assign(codes.begin(), codes.end());
    of_.shares_of(codes_, shares_);
    decision_tree::prediction said{0, 0};
    if (form_.predicted_only) {
      model_.predict(*model_.get_training_table(), codes_, said, /*weight=*/1.0);
    }
    for (code_t c = form_.predicted_only ? said.first : 1; c < base_.size(); ++c) {
      append_name(to.text += separator_, classes_[c], separator_);
      append_exact(to.text += separator_, base_[c]);
      append_parts(parts.subspan(c * names_.size(), names_.size()), to.text);
      append_exact(to.text += separator_, shares_[c]);
      to.text += '\n';
      to.ends.push_back(to.text.size());
      if (form_.predicted_only) break;
    }
  }

 private:
  void append_parts(std::span<const double> parts, std::string& line) {
    if (form_.most == 0) {
      for (const double part : parts) append_exact(line += separator_, part);
      return;
    }
    order_.resize(parts.size());
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::ranges::sort(order_, std::ranges::less(), [&](std::size_t i) {
      return std::pair(std::isnan(parts[i]) ? 0.0 : -std::abs(parts[i]), i);  // the first of equals
    });
    for (const std::size_t i : std::span(order_).first(n_named_)) {
      append_name(line += separator_, names_[i], separator_);
      append_exact(line += separator_, parts[i]);
    }
    double others = 0;
    for (const std::size_t i : std::span(order_).subspan(n_named_)) others += parts[i];
    append_exact(line += separator_, others);
  }

  const explainer& of_;
  const std::vector<double>& base_;
  const dtree& model_;
  std::vector<std::string> classes_;
  char separator_;
  reason_form form_;
  std::vector<std::string> names_;
  std::size_t n_named_;
  // Memory for one row:
  std::vector<code_t> codes_;
  std::vector<double> shares_;
  std::vector<std::size_t> order_;
};

/// One worker's part: a block of text into lines.
class reason_worker {
 public:
  reason_worker(const explainer& of, const table& t, const row_coder::rules& how,
                const coded_columns& columns, const reason_writer& writer)
      : explainer_(of),
        width_(t.n_attributes()),
        coder_(t, how, columns),
        workspace_(of.new_workspace()),
        writer_(writer) {}

  const batch_coder& coder() const { return coder_; }

  void explain(std::string_view text, char separator, row_block<reason_lines>& block) {
    block.error = coder_.take(text, batch_coder::rows::SCORE, separator);
    block.rows = coder_.size();
    block.output.text.clear();
    block.output.ends.clear();
    constexpr std::size_t k_at_once = shapley_tree::k_lanes;
    for (std::size_t first = 0; first < block.rows; first += k_at_once) {
      const std::size_t n = std::min<std::size_t>(k_at_once, block.rows - first);
      explain({coder_.codes().subspan(first * width_, n * width_), width_}, n, block.output);
    }
  }

 private:
  void explain(const case_block& cases, std::size_t n, reason_lines& to) {
    const std::size_t n_parts = explainer_.n_parts();
    parts_.resize(n * n_parts);
    explainer_.explain(cases, workspace_, parts_);
    for (std::size_t i = 0; i < n; ++i) {
      writer_.append(cases.of_case(i), std::span(parts_).subspan(i * n_parts, n_parts), to);
    }
  }

  const explainer& explainer_;
  std::size_t width_;
  batch_coder coder_;
  explainer::workspace workspace_;
  reason_writer writer_;
  std::vector<double> parts_;
};

/// Writes lines with the numbers of their rows.
class line_numbering {
 public:
  line_numbering(std::ostream& out, std::size_t lines_a_row) : out_(out), a_row_(lines_a_row) {}

  void write(const reason_lines& lines) {
    text_.clear();
    for (std::size_t begin = 0; const std::size_t end : lines.ends) {
      text_ += std::to_string(n_++ / a_row_ + 1);
      text_.append(lines.text, begin, end - begin);
      begin = end;
    }
    write(text_);
  }
  void write(std::string_view text) {
    if (!out_.write(text.data(), static_cast<std::streamsize>(text.size()))) {
      throw std::runtime_error(k_cannot_write_reasons);
    }
  }

 private:
  std::ostream& out_;
  std::size_t a_row_;
  unsigned long n_ = 0;
  std::string text_;
};

}  // namespace

void explainer::write(zel::inpout::stream& in, std::ostream& out, unsigned long& rows,
                      char separator, const reason_form& form, unseen_values* unseen) const {
  const coded_columns columns(table_, limits());
  const reason_writer writer(*this, model_, separator, form);
  const row_coder::rules how{model_.class_names()[k_unknown], unseen != nullptr};
  const zel::util::run_context& run = model_.run();
  std::vector<std::unique_ptr<reason_worker>> workers(run.n_slots());
  const auto work = [&](std::string_view text, row_block<reason_lines>& block) {
    std::unique_ptr<reason_worker>& own = workers[run.slot()];
    if (!own) own = std::make_unique<reason_worker>(*this, table_, how, columns, writer);
    own->explain(text, in.separator(), block);
  };
  line_numbering lines(out, writer.lines_a_row());
  lines.write(writer.header());
  for_each_row_block<reason_lines>(run, in, k_reading_title, rows, work,
                                   [&](const reason_lines& some) { lines.write(some); });
  if (unseen == nullptr) return;
  std::vector<unsigned long> counts(table_.n_columns());
  for (const auto& each : workers) {
    if (each) add_unseen(each->coder(), counts);
  }
  *unseen = unseen_of_all(run, table_, counts);
}

}  // namespace orvik::impls
