// The PMML 4.4 form of models: a TreeModel, or a MiningModel with a TreeModel for every tree.
//
// A reader that follows the standard predicts what this library does:
// - A case without a value for a test: the strategy "weightedConfidence" asks every branch and
//   weights its answer by its share of the records, as the descent here does. The numbers of
//   records are case weights, so that the shares are the same.
// - A value that training did not have is "asMissing"; numbers have no such values.
// - A leaf that no weight reached names its father's class, with full confidence.
// - Trees of an ensemble have one vote each, boosted ones their own; or their shares are averaged.
//   The standard does not decide between equal classes; here the first in the data dictionary wins.
// Numbers are exact, whatever format the stream has.
#include <stdexcept>

#include "impls/identity.h"
#include "impls/model/dtree.h"
#include "impls/rendering/description.h"
#include "zel/adt/tree_walk.h"
#include "zel/text/decimal.h"
#include "zel/util/string_util.h"

namespace orvik::impls {

namespace {

constexpr char k_namespace[] = "http://www.dmg.org/PMML-4_4";
constexpr char k_no_decision[] =
    "PMML does not say what errors cost, nor the shares of leaves that lean on prior ones";
constexpr char k_not_xml[] = "PMML output: a name or a value has a character that XML cannot hold";

bool is_noncharacter(std::string_view utf8) {  // U+FFFE and U+FFFF
  return utf8 == "\xef\xbf\xbe" || utf8 == "\xef\xbf\xbf";
}

/// A text between the quotes of an attribute, where a reader would take blanks for control
/// characters that are not written as references.
std::string attribute_text(const std::string& text, text_encoding encoding) {
  std::string xml;
  const std::string escaped = zel::util::string_util::toXML(text);
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    const char c = escaped[i];
    const bool control = static_cast<unsigned char>(c) < ' ';
    if (c == '\t' || c == '\n' || c == '\r') {
      xml += "&#" + std::to_string(static_cast<int>(c)) + ';';
    } else if (control || (encoding == text_encoding::UTF_8 &&
                           is_noncharacter(std::string_view(escaped).substr(i, 3)))) {
      throw std::runtime_error(k_not_xml);
    } else {
      xml += c;
    }
  }
  return xml;
}

const char* data_type_of(const column& c) {
  const std::string& type = c.values()->type();
  if (type == "integer" || type == "uinteger") return "integer";
  if (type == "float") return "float";
  return c.values()->is_numeric() ? "double" : "string";  // there is no long double
}

const char* operational_type_of(const column& c) {
  if (c.type() == column::CLASS || c.type() == column::DISCRETE) return "categorical";
  return lists_values(c) ? "ordinal" : "continuous";
}

const char* operator_of(const branch_test& test) {
  switch (test.how) {
    case branch_test::EQUAL:
      return "equal";
    case branch_test::OTHER:
      return "notEqual";
    case branch_test::UP_TO:
      return "lessOrEqual";
    default:
      return "greaterThan";
  }
}

/// Writes the elements that describe a table and its trees.
class pmml_writer {
 public:
  pmml_writer(const table& t, const std::string& model_name, std::ostream& out);

  const char* encoding() const { return name_of(encoding_); }
  std::string text(const std::string& raw) const { return attribute_text(raw, encoding_); }
  void write_dictionary() const;
  /// The fields of the attributes in `used`, and the class.
  void write_schema(const zel::adt::bitmap& used) const;
  /// The attributes of a TreeModel element.
  void write_tree_attributes(const decision_tree& tree) const;
  void write_nodes(const decision_tree& tree) const;

 private:
  void write_field(unsigned long i) const;
  void write_predicate(const decision_node& node) const;
  void write_distribution(const decision_node& leaf) const;

  const table& table_;
  std::ostream& out_;
  text_encoding encoding_;
  std::vector<std::string> fields_;   // by column, escaped
  std::vector<std::string> classes_;  // by code, escaped
};

pmml_writer::pmml_writer(const table& t, const std::string& model_name, std::ostream& out)
    : table_(t), out_(out), encoding_(encoding_of(t, model_name)) {
  for (const std::string& name : unique_names(t)) fields_.push_back(text(name));
  for (code_t c = 0; c < t.n_class_codes(); ++c) {
    classes_.push_back(text(t.class_column().values()->get_exact_value(c)));
  }
}

void pmml_writer::write_field(unsigned long i) const {
  const column& c = table_.get_column(i);
  const o_set& values = *c.values();
  out_ << "<DataField name=\"" << fields_[i] << "\" optype=\"" << operational_type_of(c)
       << "\" dataType=\"" << data_type_of(c) << "\">\n";
  for (code_t code = 1; lists_values(c) && code <= values.size_of_known(); ++code) {
    out_ << "<Value value=\"" << text(values.get_exact_value(code)) << "\"/>\n";
  }
  if (is_input(c) && values.code_of_null() == k_unknown) {
    out_ << "<Value value=\"" << text(values.null_value()) << "\" property=\"missing\"/>\n";
  }
  out_ << "</DataField>\n";
}

void pmml_writer::write_dictionary() const {
  const auto is_field = [this](unsigned long i) {
    return is_input(table_.get_column(i)) || i == table_.class_index();
  };
  unsigned long fields = 0;
  for (unsigned long i = 0; i < table_.n_columns(); ++i) fields += is_field(i);
  out_ << "<DataDictionary numberOfFields=\"" << std::to_string(fields) << "\">\n";
  for (unsigned long i = 0; i < table_.n_columns(); ++i) {
    if (is_field(i)) write_field(i);
  }
  out_ << "</DataDictionary>\n";
}

void pmml_writer::write_schema(const zel::adt::bitmap& used) const {
  out_ << "<MiningSchema>\n";
  for (unsigned long a = 0; a < table_.n_attributes(); ++a) {
    if (!used.get(a)) continue;
    const o_set& values = *table_.column_of(a).values();
    out_ << "<MiningField name=\"" << fields_[table_.column_index_of(a)]
         << "\" usageType=\"active\" invalidValueTreatment=\"asMissing\"";
    if (values.code_of_null() != k_unknown) {
      out_ << " missingValueReplacement=\"" << text(values.null_value()) << '"';
    }
    out_ << "/>\n";
  }
  out_ << "<MiningField name=\"" << fields_[table_.class_index()]
       << "\" usageType=\"target\"/>\n</MiningSchema>\n";
}

bool is_binary(const decision_tree& tree) {
  bool binary = true;
  zel::adt::walk(
      tree,
      [&](const decision_tree& at, unsigned long) {
        binary = binary && (is_leaf(at) || at.get_no_childs() == 2);
        return binary;
      },
      [](const decision_tree&, unsigned long) {});
  return binary;
}

void pmml_writer::write_tree_attributes(const decision_tree& tree) const {
  out_ << " functionName=\"classification\" missingValueStrategy=\"weightedConfidence\""
       << " noTrueChildStrategy=\"returnNullPrediction\" splitCharacteristic=\""
       << (is_binary(tree) ? "binarySplit" : "multiSplit") << "\">\n";
}

void pmml_writer::write_predicate(const decision_node& node) const {
  if (node.father() == nullptr) {
    out_ << "<True/>\n";
    return;
  }
  const branch_test test = test_before(table_, node);
  const unsigned long column = table_.column_index_of(node.father()->attribute());
  out_ << "<SimplePredicate field=\"" << fields_[column] << "\" operator=\"" << operator_of(test)
       << "\" value=\"" << text(test.exact_value()) << "\"/>\n";
}

/// Without weight the confidences are said, as there are no shares to take them from.
void pmml_writer::write_distribution(const decision_node& leaf) const {
  const bool empty = !(leaf.weight() > 0);
  for (code_t c = 1; c < classes_.size(); ++c) {
    out_ << "<ScoreDistribution value=\"" << classes_[c] << "\" recordCount=\""
         << (empty ? "0" : zel::text::shortest_decimal(leaf.class_weight(c)));
    if (empty) out_ << "\" confidence=\"" << (c == leaf.get_leaf_class() ? 1 : 0);
    out_ << "\"/>\n";
  }
}

void pmml_writer::write_nodes(const decision_tree& tree) const {
  zel::adt::walk(
      tree,
      [this](const decision_tree& at, unsigned long) {
        const decision_node& node = *at.get_node();
        out_ << "<Node score=\"" << classes_[node.get_leaf_class()] << "\" recordCount=\""
             << zel::text::shortest_decimal(node.weight()) << "\">\n";
        write_predicate(node);
        if (is_leaf(at)) write_distribution(node);
        return true;
      },
      [this](const decision_tree&, unsigned long) { out_ << "</Node>\n"; });
}

zel::adt::bitmap attributes_of(const table& t, const decision_tree& tree) {
  zel::adt::bitmap used;
  used.resize(t.n_attributes());
  tree.set_used_atts(used);
  return used;
}

void write_segments(const pmml_writer& writer, const table& t, const dtree& model,
                    std::ostream& out) {
  const ensemble& trees = model.trees();
  const bool weighted = trees.kind() == ensemble_kind::boosting;
  const bool averages = trees.answer() == combination::shares;
  out << "<Segmentation multipleModelMethod=\""
      << (averages ? (weighted ? "weightedAverage" : "average")
                   : (weighted ? "weightedMajorityVote" : "majorityVote"))
      << "\">\n";
  for (unsigned long i = 0; i < model.n_trees(); ++i) {
    const std::shared_ptr<const decision_tree> unpacked = model.get_tree(i);
    const decision_tree& tree = *unpacked;
    out << "<Segment id=\"" << std::to_string(i + 1);
    if (weighted) out << "\" weight=\"" << zel::text::shortest_decimal(trees.votes(i));
    out << "\">\n<True/>\n<TreeModel";
    writer.write_tree_attributes(tree);
    writer.write_schema(attributes_of(t, tree));
    writer.write_nodes(tree);
    out << "</TreeModel>\n</Segment>\n";
  }
  out << "</Segmentation>\n";
}

}  // namespace

void dtree::toPMML(std::ostream& out) const {
  require_trees();
  require_plain_shares("PMML");
  if (!decides().is_plain()) throw std::runtime_error(k_no_decision);
  const pmml_writer writer(*table_, name_, out);
  const zel::adt::bitmap usable = attributes_ ? *attributes_ : default_features(*table_);
  out << "<?xml version=\"1.0\" encoding=\"" << writer.encoding() << "\"?>\n"
      << "<PMML xmlns=\"" << k_namespace << "\" version=\"4.4\">\n"
      << "<Header copyright=\"" << k_copyright << "\">\n<Application name=\"" << k_library_name
      << "\" version=\"" << k_version << "\"/>\n</Header>\n";
  writer.write_dictionary();
  const char* const element = votes() ? "MiningModel" : "TreeModel";
  out << '<' << element << " modelName=\"" << writer.text(document_name(name_))
      << "\" algorithmName=\"" << k_product << '"';
  if (votes()) {
    out << " functionName=\"classification\">\n";
  } else {
    writer.write_tree_attributes(*get_tree(0));
  }
  writer.write_schema(usable);
  if (votes()) {
    write_segments(writer, *table_, *this, out);
  } else {
    writer.write_nodes(*get_tree(0));
  }
  out << "</" << element << ">\n</PMML>\n";
}

}  // namespace orvik::impls
