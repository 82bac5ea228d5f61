// Models as JSON: all that predicting needs, for programs.
//
// The nodes of a tree lie in one array, each before its children, which are named by their place
// in it: readers need no recursion, and a tree may be as deep as memory allows. Classes are codes:
// 0 is the unknown class, k the k-th value of the class column. docs/formats.md has the layout.
// Numbers are the shortest texts that read back to the same value of their column's type.
#include "zel/text/json.h"

#include "impls/identity.h"
#include "impls/model/dtree.h"
#include "impls/rendering/description.h"
#include "zel/adt/tree_walk.h"
#include "zel/util/string_util.h"

namespace orvik::impls {

namespace {

constexpr char k_format[] = "orvik-model";

/// Writes the members of the document in order.
class model_writer {
 public:
  model_writer(const table& t, const std::string& model_name, std::ostream& out)
      : table_(t), encoding_(encoding_of(t, model_name)), sink_(out), json_(sink_) {}

  void write_combination(const ensemble& trees);
  void write_calibration(const calibrator& maps);
  void write_decision(const decision& how);
  void write(const dtree& model);

 private:
  void key(std::string_view name) { json_.key(name); }
  void text(const std::string& raw);
  void value(const column& c, code_t code);
  void write_column(unsigned long i);
  void write_columns();
  void write_tree(const decision_tree& tree);
  void write_node(const decision_tree& tree, const std::vector<unsigned long>& places);
  void write_test(const decision_tree& tree, const std::vector<unsigned long>& places);
  void write_class(const decision_node& leaf);
  std::vector<double> known_shares(const decision_node& leaf) const;

  const table& table_;
  bool knows_ = false;  // leaves without cases have shares
  text_encoding encoding_;
  zel::text::json_sink sink_;
  zel::text::json_writer<zel::text::json_sink> json_;
};

void model_writer::text(const std::string& raw) {
  json_.text(encoding_ == text_encoding::UTF_8 ? raw : zel::util::string_util::utf8_of_latin1(raw));
}

void model_writer::value(const column& c, code_t code) {
  const std::string exact = c.values()->get_exact_value(code);
  c.values()->is_numeric() ? json_.digits(exact) : text(exact);
}

void model_writer::write_column(unsigned long i) {
  const column& c = table_.get_column(i);
  json_.StartObject();
  key("name");
  text(c.name());
  key("type");
  text(type_name(c));
  key("role");
  text(c.get_type());
  key("unknown");
  text(c.values()->null_value());
  if (lists_values(c)) {
    key("values");
    json_.StartArray();
    for (code_t code = 1; code <= c.values()->size_of_known(); ++code) value(c, code);
    json_.EndArray();
  }
  json_.EndObject();
}

/// 2 where a reader of 1 would go wrong, 3 where one of 2 would.
unsigned version_of(const dtree& model) {
  if (!model.decides().is_plain()) return 3;
  const table& schema = *model.get_training_table();
  for (unsigned long a = 0; a < schema.n_attributes(); ++a) {
    if (schema.column_of(a).values()->code_of_null() != k_unknown) return 2;
  }
  const ensemble& trees = model.trees();
  bool first = trees.answer() == combination::votes && trees.kind() != ensemble_kind::boosting;
  for (unsigned long i = 0; first && i < trees.n_trees(); ++i) {
    const std::shared_ptr<const decision_tree> tree = trees.tree(i, /*complete=*/false);
    zel::adt::walk(
        *tree,
        [&first](const decision_tree& at, unsigned long) {
          first = first && (is_leaf(at) || !at.get_node()->test().is_one_value());
          return first;
        },
        [](const decision_tree&, unsigned long) {});
  }
  return first ? 1 : 2;
}

void model_writer::write_columns() {
  key("columns");
  json_.StartArray();
  for (unsigned long i = 0; i < table_.n_columns(); ++i) {
    sink_.Put('\n');
    write_column(i);
  }
  json_.EndArray();
  sink_.Put('\n');
}

void model_writer::write_test(const decision_tree& tree, const std::vector<unsigned long>& places) {
  const decision_node& node = *tree.get_node();
  const branch_test test = test_of_branch(table_, node, 0);
  key("column");
  json_.Uint64(table_.column_index_of(node.attribute()));
  if (test.how == branch_test::UP_TO) {
    key("threshold");
    value(*test.tested, test.code);
  } else if (node.test().is_one_value()) {
    key("value");
    value(*test.tested, test.code);
  }
  key("children");
  json_.StartArray();
  for (const unsigned long place : places) json_.Uint64(place);
  json_.EndArray();
}

/// What a tree whose shares are mapped answers where no case came: the shares of the nearest node
/// above to which some came. None for other leaves.
std::vector<double> model_writer::known_shares(const decision_node& leaf) const {
  if (!knows_ || leaf.weight() > 0) return {};
  std::vector<double> shares(table_.n_class_codes());
  leaf.add_known_shares(1, shares, {});
  return shares;
}

void model_writer::write_class(const decision_node& leaf) {
  key("class");
  json_.Uint64(leaf.get_leaf_class());
  key("classes");
  json_.StartArray();
  const std::vector<double> known = known_shares(leaf);
  for (code_t c = 1; c < table_.n_class_codes(); ++c) {
    json_.number(known.empty() ? leaf.class_weight(c) : known[c]);
  }
  json_.EndArray();
}

void model_writer::write_node(const decision_tree& tree, const std::vector<unsigned long>& places) {
  const decision_node& node = *tree.get_node();
  json_.StartObject();
  key("weight");
  json_.number(node.weight());
  key("cases");
  json_.Uint64(node.n_cases());
  key("fraction");
  json_.number(node.fraction());
  is_leaf(tree) ? write_class(node) : write_test(tree, places);
  json_.EndObject();
}

/// Level by level, so that the places of a node's children follow each other.
void model_writer::write_tree(const decision_tree& tree) {
  std::vector<const decision_tree*> nodes{&tree};
  std::vector<unsigned long> places;
  json_.StartObject();
  key("nodes");
  json_.StartArray();
  for (std::size_t at = 0; at < nodes.size(); ++at) {
    const decision_tree& subtree = *nodes[at];
    places.clear();
    for (unsigned int i = 0; i < subtree.get_no_childs(); ++i) {
      places.push_back(nodes.size());
      nodes.push_back(subtree.get_child(i));
    }
    sink_.Put('\n');
    write_node(subtree, places);
  }
  json_.EndArray();
  json_.EndObject();
  sink_.Put('\n');
}

/// Said where trees do more than have one vote each.
void model_writer::write_combination(const ensemble& trees) {
  if (!trees.is_put_to_vote()) return;
  if (trees.answer() == combination::shares) {
    key("combination");
    text("shares");
  }
  if (trees.kind() != ensemble_kind::boosting) return;
  key("votes");
  json_.StartArray();
  for (unsigned long i = 0; i < trees.n_trees(); ++i) json_.number(trees.votes(i));
  json_.EndArray();
}

/// The maps of shares; numbers that the method does not have are not there.
void model_writer::write_calibration(const calibrator& maps) {
  if (!maps.changes()) return;
  const auto numbers = [this](const char* name, const std::vector<double>& all) {
    json_.array(name, all, [this](double x) { json_.number(x); });
  };
  key("calibration");
  json_.StartObject();
  key("method");
  text(name_of(maps.how()));
  json_.array("maps", maps.maps(), [&](const share_map& map) {
    json_.StartObject();
    if (map.x.empty()) {
      key("a");
      json_.number(map.a);
      key("b");
      json_.number(map.b);
    } else {
      numbers("x", map.x);
      numbers("y", map.y);
    }
    json_.EndObject();
  });
  json_.EndObject();
  sink_.Put('\n');
}

/// Said where another class than that of the largest share may be found, or leaves have other
/// shares than their weights.
void model_writer::write_decision(const decision& how) {
  const unsigned long n = table_.n_class_codes();
  if (const cost_matrix* const costs = how.costs()) {
    key("costs");
    json_.StartArray();
    for (code_t predicted = 1; predicted < n; ++predicted) {
      json_.StartArray();
      for (code_t actual = 1; actual < n; ++actual) json_.number(costs->cost(predicted, actual));
      json_.EndArray();
    }
    json_.EndArray();
  }
  if (how.prior().empty()) return;
  key("prior");
  json_.StartArray();
  for (code_t c = 1; c < n; ++c) json_.number(how.prior()[c]);
  json_.EndArray();
}

void model_writer::write(const dtree& model) {
  knows_ = !model.votes() && model.decides().calibrates() && model.decides().prior().empty();
  json_.StartObject();
  key("format");
  text(k_format);
  key("version");
  json_.Uint(version_of(model));
  key("library");
  text(k_product);
  key("encoding");
  text(name_of(encoding_));
  key("name");
  text(document_name(model.name()));
  key("ensemble");
  json_.Bool(model.votes());
  key("class");
  json_.Uint64(table_.class_index());
  key("weights");
  table_.has_weights() ? json_.Uint64(table_.weights_index()) : json_.Null();
  write_columns();
  write_combination(model.trees());
  write_decision(model.decides());
  write_calibration(model.decides().maps());
  key("trees");
  json_.StartArray();
  for (unsigned long i = 0; i < model.n_trees(); ++i) write_tree(*model.get_tree(i));
  json_.EndArray();
  json_.EndObject();
  sink_.Put('\n');
}

}  // namespace

void dtree::toJSON(std::ostream& out) const {
  require_trees();
  model_writer(*table_, name_, out).write(*this);
}

}  // namespace orvik::impls
