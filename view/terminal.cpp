// A tree on a terminal: a line a node as the text form says it, at its right the weight and a bar
// of the classes. Without colours the bar is the share of the largest class.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <sstream>

#include "forms.h"
#include "palette.h"
#include "wording.h"
#include "zel/text/decimal.h"

namespace orvik::view {

using orvik::placed_node;
using orvik::tree_node;

namespace {

constexpr unsigned long k_least_width = 40;  // narrower windows fold the lines
constexpr unsigned long k_bar = 12, k_least_for_bar = 72;
constexpr unsigned long k_most_counts = 13;
constexpr char k_plain[] = "\033[0m";
constexpr char k_one_leaf[] =
    "The model is one leaf: nothing separates the classes better than chance. Try other columns, "
    "less pruning, a smaller least weight of two branches, or more rows.";
constexpr char k_imbalance[] =
    "The classes are far apart in number: look at recall, balanced accuracy and kappa rather than "
    "at the error, and try case weights.";

/// What lines and bars are made of.
struct glyphs {
  const char *child, *last_child, *below, *none, *full, *empty, *more;
};
constexpr glyphs k_ascii = {"|-- ", "`-- ", "|   ", "    ", "#", ".", "..."};
constexpr glyphs k_unicode = {"\u251c\u2500 ", "\u2514\u2500 ", "\u2502  ", "   ",
                              "\u2588",        "\u2591",        "\u2026"};

class summary_writer {
 public:
  summary_writer(const chosen_tree& chosen, unsigned long depth, const terminal& on,
                 std::ostream& out)
      : chosen_(chosen),
        schema_(chosen.schema()),
        words_(chosen.model),
        root_(chosen.roots().front()),
        nodes_(nodes_of(root_, depth)),
        depth_(depth),
        color_(on.color),
        unicode_(on.unicode),
        glyphs_(on.unicode ? k_unicode : k_ascii),
        width_(std::max(on.width, k_least_width)),
        out_(out) {}

  void write();

 private:
  void write_head();
  void write_hints();
  void write_folded(const std::string& text);
  void write_line(const placed_node& at, const std::string& branches);
  void note_width(const tree_node& node);
  std::string indent(unsigned long level, const std::string& own) const;
  struct line_text {
    std::string test, found;
  };
  line_text text_of(const placed_node& at, unsigned long columns) const;
  std::string bar_of(const tree_node& node) const;
  std::string painted(orvik::code_t code, const std::string& text) const;
  std::string cut(const std::string& text, unsigned long columns) const;
  bool has_bar() const { return width_ >= k_least_for_bar; }

  const chosen_tree& chosen_;
  orvik::schema_view schema_;
  wording words_;
  tree_node root_;
  std::vector<placed_node> nodes_;  // that are shown
  unsigned long depth_;
  bool color_, unicode_;
  const glyphs& glyphs_;
  unsigned long width_;
  unsigned long counts_ = 0;      // columns of the widest counts
  std::vector<bool> last_child_;  // of the nodes on the way to a line, by level
  std::ostream& out_;
};

std::string repeated(const char* glyph, unsigned long n) {
  std::string text;
  for (; n > 0; --n) text += glyph;
  return text;
}

/// A leaf that has no cases has the class of the node above.
std::string counts_of(const tree_node& node) {
  return node.is_leaf() && !(node.weight() > 0) ? "no cases" : node.printed_counts();
}

unsigned long part_of_bar(double share) {
  const auto whole = static_cast<double>(k_bar);
  return static_cast<unsigned long>(std::lround(std::min(whole, share * whole)));
}

std::string summary_writer::painted(orvik::code_t code, const std::string& text) const {
  if (!color_ || text.empty()) return text;
  return "\033[38;5;" + std::to_string(k_colors[color_of(code)].terminal) + 'm' + text + k_plain;
}

std::string summary_writer::cut(const std::string& text, unsigned long columns) const {
  if (unicode_ || columns_of(text) <= columns) return shortened(text, columns);
  const unsigned long mark = std::min<unsigned long>(3, columns);
  // shortened() ends in one character of its own, which this replaces.
  std::string less = shortened(text, columns - mark + 1);
  less.resize(less.size() - 3);
  return less + std::string(mark, '.');
}

/// The classes side by side; every boundary is where its sum of shares rounds to.
std::string summary_writer::bar_of(const tree_node& node) const {
  if (!(node.weight() > 0)) return std::string(k_bar, ' ');
  if (!color_) {
    const unsigned long n = part_of_bar(node.confidence());
    return repeated(glyphs_.full, n) + repeated(glyphs_.empty, k_bar - n);
  }
  std::string bar;
  double sum = 0;
  unsigned long drawn = 0;
  for (orvik::code_t c = 1; c < schema_.n_class_codes(); ++c) {
    sum += node.class_weights()[c] / node.weight();
    const unsigned long end = part_of_bar(sum);
    assert(drawn <= end && end <= k_bar);
    bar += painted(c, repeated(glyphs_.full, end - drawn));
    drawn = end;
  }
  return bar + std::string(k_bar - drawn, ' ');
}

/// Lines down from the nodes above. Where they would take half of the line, those of the upper
/// levels are left out.
std::string summary_writer::indent(unsigned long level, const std::string& own) const {
  if (level == 0) return "";
  const unsigned long step = columns_of(glyphs_.none);
  const unsigned long room = (width_ / 2 - columns_of(glyphs_.more)) / step;
  const unsigned long skipped = level > room ? level - room : 0;
  std::string text = skipped > 0 ? glyphs_.more : "";
  for (unsigned long l = skipped + 1; l < level; ++l) {
    text += last_child_[l] ? glyphs_.none : glyphs_.below;
  }
  return text + own;
}

/// What leads to a node and what is there, in at most so many columns: of the second rather more.
summary_writer::line_text summary_writer::text_of(const placed_node& at,
                                                  unsigned long columns) const {
  const auto& [node, father, level] = at;
  std::string test, found;
  if (level > 0) test = shown_text(words_.utf8(node.printed_test_before()));
  if (node.is_leaf()) {
    found = (level > 0 ? ": " : "") + words_.class_name(node.predicted());
  } else if (level == depth_) {
    found = " (" + std::to_string(node.size() - 1) + " nodes below)";
  } else if (level == 0) {
    found = words_.column_name(node.tested().index()) + " ?";
  }
  found = cut(shown_text(found), level > 0 ? (columns + 1) / 2 : columns);
  return {cut(test, columns - columns_of(found)), found};
}

void summary_writer::write_line(const placed_node& at, const std::string& branches) {
  const tree_node& node = at.node;
  const std::string before = indent(at.level, branches);
  const unsigned long right = counts_ + 1 + (has_bar() ? k_bar + 1 : 0);
  const unsigned long used = columns_of(before);
  const unsigned long room = width_ > right + used ? width_ - right - used : 1;
  const auto [test, found] = text_of(at, room);
  const std::string counts =
      cut(node.is_leaf() ? counts_of(node) : zel::text::one_decimal(node.weight()), counts_);
  const unsigned long blanks =
      room - columns_of(test) - columns_of(found) + 1 + counts_ - columns_of(counts);
  out_ << before << test << (node.is_leaf() ? painted(node.predicted(), found) : found)
       << std::string(blanks, ' ') << counts;
  if (has_bar()) out_ << ' ' << bar_of(node);
  out_ << '\n';
}

void summary_writer::note_width(const tree_node& node) {
  const unsigned long columns = columns_of(counts_of(node));
  counts_ = std::min(k_most_counts, std::max(counts_, columns));
}

void summary_writer::write_head() {
  const unsigned long n = chosen_.model.get_no_trees();
  std::string head = words_.column_name(schema_.class_column().index());
  if (chosen_.model.is_ensemble()) {
    const unsigned long tree = chosen_.tree == k_whole_model ? 0 : chosen_.tree;
    head += ", tree " + std::to_string(tree + 1) + " of " + std::to_string(n);
  }
  head += ": " + std::to_string(root_.size()) + " nodes, " + std::to_string(root_.leaves()) +
          " leaves, depth " + std::to_string(root_.depth());
  out_ << cut(shown_text(head), width_) << '\n';
  if (chosen_.model.is_calibrated()) {
    out_ << cut("shares are calibrated: classes are predicted by them, not by leaves", width_)
         << '\n';
  }
  unsigned long used = 0;
  for (orvik::code_t c = 1; color_ && c < schema_.n_class_codes(); ++c) {
    const std::string name = cut(shown_text(words_.class_name(c)), width_ - 3);
    const unsigned long columns = columns_of(name) + 2;
    if (used > 0) out_ << (used + columns + 2 > width_ ? "\n" : "  ");
    used = used > 0 && used + columns + 2 <= width_ ? used + columns + 2 : columns;
    out_ << painted(c, glyphs_.full) << ' ' << name;
  }
  out_ << (used > 0 ? "\n\n" : "\n");
}

/// Below an empty line, in lines that end between words.
void summary_writer::write_folded(const std::string& text) {
  std::istringstream words(text);
  std::string line;
  out_ << '\n';
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > width_) {
      out_ << line << '\n';
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  out_ << line << '\n';
}

/// Sentences for a model that needs them.
void summary_writer::write_hints() {
  constexpr double k_far_apart = 10;  // times as many cases
  if (root_.is_leaf() && !chosen_.model.is_ensemble()) write_folded(k_one_leaf);
  double most = 0, least = root_.weight();
  for (orvik::code_t c = 1; c < schema_.n_class_codes(); ++c) {
    const double weight = root_.class_weights()[c];
    if (weight > 0) most = std::max(most, weight), least = std::min(least, weight);
  }
  if (least > 0 && most >= k_far_apart * least) write_folded(k_imbalance);
}

void summary_writer::write() {
  write_head();
  for (const placed_node& at : nodes_) note_width(at.node);
  for (const placed_node& at : nodes_) {
    bool last = false;
    if (at.level > 0) {
      const tree_node father = nodes_[static_cast<std::size_t>(at.father)].node;
      last = at.node.branch() + 1 == father.n_children();
    }
    last_child_.resize(at.level);
    last_child_.push_back(last);
    write_line(at, last ? glyphs_.last_child : glyphs_.child);
  }
  write_hints();
}

}  // namespace

void write_summary(const chosen_tree& chosen, unsigned long depth, const terminal& on,
                   std::ostream& out) {
  summary_writer(chosen, depth, on, out).write();
}

}  // namespace orvik::view
