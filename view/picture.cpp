// A tree as a static SVG picture: the root at the top, classes by colour, an edge as thick as the
// share of the cases that go along it. Needs no fonts but the viewer's own, so room for texts is
// estimated by their number of letters.
#include <algorithm>

#include "forms.h"
#include "numbers.h"
#include "palette.h"
#include "tidy_layout.h"
#include "wording.h"
#include "zel/text/decimal.h"

namespace orvik::view {

using orvik::branch_test;
using orvik::placed_node;
using orvik::tree_node;

namespace {

// Sizes are in pixels.
constexpr double k_letter = 7.0;  // a generous mean of a font of 12
constexpr double k_padding = 16, k_gap = 14, k_margin = 24;
constexpr double k_box = 40, k_label = 16, k_level = 104;
constexpr double k_bar = 4, k_least_bar = 1;
constexpr double k_thickest = 10, k_thinnest = 1;
constexpr unsigned long k_longest_text = 28;
constexpr double k_legend_line = 22;
constexpr double k_least_width = 480;

constexpr char k_style[] = R"source(<style>
text{font:12px system-ui,-apple-system,"Segoe UI",Roboto,"Noto Sans",sans-serif;fill:#1f2328;text-anchor:middle;unicode-bidi:isolate}
.t{font-size:16px;font-weight:600;text-anchor:start}.h{text-anchor:start}
.s,.e{fill:#57606a;font-size:11px}
.p{fill:#fff}.n{fill:#f6f8fa;stroke:#8c959f}.m{stroke-dasharray:4 3}
.k{fill-opacity:.16}.l{fill:none;stroke:#b6bec7;stroke-linecap:round}
@media(prefers-color-scheme:dark){text{fill:#e6edf3}.s,.e{fill:#9aa5b1}.p{fill:#0f141a}.n{fill:#1b222b;stroke:#57606a}.k{fill-opacity:.3}.l{stroke:#3d4650}}
@media print{.p{fill:#fff}}
)source";

/// A tenth of a pixel is enough.
std::string pixels(double x) { return trimmed_decimal(x); }

/// A node as it is drawn.
struct drawn_node {
  tree_node node;
  long father;
  unsigned long level;
  unsigned long hidden;  // nodes below that are left out
  std::string name, counts, label;
  double box;  // width
};

class svg_writer {
 public:
  svg_writer(const chosen_tree& chosen, unsigned long depth, std::ostream& out)
      : chosen_(chosen), schema_(chosen.schema()), words_(chosen.model), depth_(depth), out_(out) {}

  void write();

 private:
  void collect();
  drawn_node drawn(const placed_node& at) const;
  std::string label_of(const branch_test& test) const;
  std::string tip_of(const drawn_node& d) const;
  double place_legend();
  void write_head(double width, double height);
  void write_legend();
  void write_edge(const drawn_node& d, double x, double father_x);
  void write_node(const drawn_node& d, double x);
  void write_bar(const tree_node& node, double left, double y, double width);
  double top_of(unsigned long level) const { return head_ + static_cast<double>(level) * k_level; }
  /// A text of a class of its own at a place.
  void write_text(const char* kind, double x, double y, const std::string& utf8);

  struct legend_item {
    double x, y;
    std::string text;
    orvik::code_t code;
  };

  const chosen_tree& chosen_;
  orvik::schema_view schema_;
  wording words_;
  unsigned long depth_;
  std::ostream& out_;
  std::vector<drawn_node> nodes_;  // in the order of the walk
  std::vector<double> middles_;
  std::vector<legend_item> legend_;
  double head_ = 0;  // height above the tree
};

std::string svg_writer::label_of(const branch_test& test) const {
  const std::string value = words_.utf8(test.printed_value());
  if (test.how == branch_test::UP_TO) return "\u2264 " + value;
  if (test.how == branch_test::OTHER) return "\u2260 " + value;
  return test.how == branch_test::ABOVE ? "> " + value : value;
}

drawn_node svg_writer::drawn(const placed_node& at) const {
  const auto& [node, father, level] = at;
  drawn_node d{node, father, level, 0, "", "", "", 0};
  if (node.is_leaf()) {
    d.name = words_.class_name(node.predicted());
    d.counts = node.weight() > 0 ? node.printed_counts() : "no cases";
  } else {
    d.name = words_.column_name(node.tested().index());
    if (level == depth_) d.hidden = node.size() - 1;
    d.counts = d.hidden > 0 ? std::to_string(d.hidden) + " nodes below"
                            : zel::text::one_decimal(node.weight());
  }
  d.name = shortened(d.name, k_longest_text);
  if (level > 0) d.label = shortened(label_of(node.test_before()), k_longest_text);
  const unsigned long letters = std::max(columns_of(d.name), columns_of(d.counts));
  d.box = static_cast<double>(letters) * k_letter + 2 * k_padding;
  return d;
}

void svg_writer::collect() {
  for (const placed_node& at : nodes_of(chosen_.root(), depth_)) nodes_.push_back(drawn(at));
  std::vector<layout_node> places;
  for (const drawn_node& d : nodes_) {
    const double label = static_cast<double>(columns_of(d.label)) * k_letter;
    places.push_back({d.father, std::max(d.box, label) + k_gap});
  }
  middles_ = tidy_layout(places);
}

/// Lines of classes below the title. @return the width they take.
double svg_writer::place_legend() {
  double width = 0;
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    width = std::max(width, middles_[i] + nodes_[i].box / 2);
  }
  width = std::max(width, k_least_width);
  double x = 0, y = k_margin + 2 * k_legend_line;
  for (orvik::code_t c = 1; c < schema_.n_class_codes(); ++c) {
    std::string text = shortened(words_.class_name(c), k_longest_text);
    const double taken = static_cast<double>(columns_of(text)) * k_letter + 2 * k_padding;
    if (x > 0 && x + taken > width) {
      x = 0;
      y += k_legend_line;
    }
    legend_.push_back({k_margin + x, y, std::move(text), c});
    x += taken;
  }
  head_ = y + k_legend_line;
  return width;
}

void svg_writer::write_text(const char* kind, double x, double y, const std::string& utf8) {
  out_ << "<text" << kind << " x=\"" << pixels(x) << "\" y=\"" << pixels(y) << "\">"
       << xml_text(utf8) << "</text>";
}

void svg_writer::write_head(double width, double height) {
  const std::string size = pixels(width) + "\" height=\"" + pixels(height);
  out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\""
       << " width=\"" << size << "\" viewBox=\"0 0 " << pixels(width) << ' ' << pixels(height)
       << "\" role=\"img\">\n<title>" << xml_text(words_.model_name()) << "</title>\n"
       << k_style;
  for (std::size_t i = 0; i < k_colors.size(); ++i) {
    out_ << ".c" << i << "{fill:" << k_colors[i].web << "}.k.c" << i
         << "{stroke:" << k_colors[i].web << "}\n";
  }
  out_ << "</style>\n<rect class=\"p\" width=\"" << size << "\"/>\n";
}

void svg_writer::write_legend() {
  const std::string target = words_.column_name(schema_.class_column().index());
  std::string title = shortened(target, 2 * k_longest_text);
  if (chosen_.model.get_no_trees() > 1) title += ", tree " + std::to_string(chosen_.tree + 1);
  write_text(" class=\"t\"", k_margin, k_margin + k_legend_line / 2, title);
  out_ << '\n';
  for (const legend_item& item : legend_) {
    out_ << "<rect class=\"c" << color_of(item.code) << "\" x=\"" << pixels(item.x) << "\" y=\""
         << pixels(item.y - 10) << "\" width=\"10\" height=\"10\" rx=\"2\"/>";
    write_text(" class=\"h\"", item.x + k_padding, item.y, item.text);
    out_ << '\n';
  }
}

/// A share of the root's weight as thickness.
void svg_writer::write_edge(const drawn_node& d, double x, double father_x) {
  const double whole = chosen_.root().weight();
  const double share = whole > 0 ? std::min(1.0, d.node.weight() / whole) : 0;
  const double top = top_of(d.level - 1) + k_box;
  const double end = top_of(d.level) - k_label;
  const std::string middle = pixels((top + end) / 2);
  out_ << "<path class=\"l\" stroke-width=\""
       << pixels(k_thinnest + (k_thickest - k_thinnest) * share) << "\" d=\"M" << pixels(father_x)
       << ' ' << pixels(top) << 'C' << pixels(father_x) << ' ' << middle << ' ' << pixels(x) << ' '
       << middle << ' ' << pixels(x) << ' ' << pixels(end) << "\"/>\n";
}

std::string svg_writer::tip_of(const drawn_node& d) const {
  std::string tip = d.node.is_leaf() ? words_.class_name(d.node.predicted())
                                     : words_.column_name(d.node.tested().index());
  if (d.level > 0) {
    const branch_test test = d.node.test_before();
    tip = words_.column_name(test.tested.index()) + (test.how == branch_test::EQUAL ? " = " : " ") +
          label_of(test) + "\n" + tip;
  }
  if (d.node.is_leaf() && !(d.node.weight() > 0)) return tip + '\n' + k_no_cases;
  for (orvik::code_t c = 1; c < schema_.n_class_codes(); ++c) {
    const double weight = d.node.class_weights()[c];
    if (weight == 0) continue;
    tip += '\n' + words_.class_name(c) + ": " + zel::text::one_decimal(weight);
  }
  return tip;
}

/// The shares of the classes; slivers are left out.
void svg_writer::write_bar(const tree_node& node, double left, double y, double width) {
  if (!(node.weight() > 0)) return;
  double x = left;
  for (orvik::code_t c = 1; c < schema_.n_class_codes(); ++c) {
    const double part = width * std::min(1.0, node.class_weights()[c] / node.weight());
    if (part >= k_least_bar) {
      out_ << "<rect class=\"c" << color_of(c) << "\" x=\"" << pixels(x) << "\" y=\"" << pixels(y)
           << "\" width=\"" << pixels(part) << "\" height=\"" << pixels(k_bar) << "\"/>";
    }
    x += part;
  }
}

void svg_writer::write_node(const drawn_node& d, double x) {
  const double top = top_of(d.level);
  const double left = x - d.box / 2;
  out_ << "<g><title>" << xml_text(tip_of(d)) << "</title>";
  if (!d.label.empty()) write_text(" class=\"e\"", x, top - k_label / 3, d.label);
  out_ << "<rect class=\"";
  if (d.node.is_leaf()) {
    out_ << "k c" << color_of(d.node.predicted()) << "\" rx=\"" << pixels(k_box / 2);
  } else {
    out_ << (d.hidden > 0 ? "n m" : "n") << "\" rx=\"6";
  }
  out_ << "\" x=\"" << pixels(left) << "\" y=\"" << pixels(top) << "\" width=\"" << pixels(d.box)
       << "\" height=\"" << pixels(k_box) << "\"/>";
  write_text("", x, top + k_padding, d.name);
  write_text(" class=\"s\"", x, top + 2 * k_padding - 3, d.counts);
  write_bar(d.node, left + k_padding, top + k_box - k_bar - 3, d.box - 2 * k_padding);
  out_ << "</g>\n";
}

void svg_writer::write() {
  collect();
  const double width = place_legend() + 2 * k_margin;
  unsigned long deepest = 0;
  for (const drawn_node& d : nodes_) deepest = std::max(deepest, d.level);
  write_head(width, top_of(deepest) + k_box + k_margin);
  write_legend();
  const auto x_of = [this](std::size_t i) { return k_margin + middles_[i]; };
  for (std::size_t i = 1; i < nodes_.size(); ++i) {
    write_edge(nodes_[i], x_of(i), x_of(static_cast<std::size_t>(nodes_[i].father)));
  }
  for (std::size_t i = 0; i < nodes_.size(); ++i) write_node(nodes_[i], x_of(i));
  out_ << "</svg>\n";
}

}  // namespace

void write_svg(const chosen_tree& chosen, unsigned long depth, std::ostream& out) {
  svg_writer(chosen, depth, out).write();
}

}  // namespace orvik::view
