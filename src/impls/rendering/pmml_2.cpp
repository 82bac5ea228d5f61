// The PMML 2.0 form of tables and models.
//
// Values are printed ones. The weights of the classes at leaves set the stream to three decimals,
// for good; other numbers are written in the format that the stream has.
#include <iomanip>
#include <stdexcept>

#include "impls/identity.h"
#include "impls/model/dtree.h"
#include "impls/rendering/description.h"
#include "zel/adt/tree_walk.h"
#include "zel/util/string_util.h"

namespace orvik::impls {

namespace {

constexpr char k_no_decision_together[] =
    "PMML does not say what errors cost, nor the shares of leaves that lean on prior ones";

std::string escaped(const std::string& text) { return zel::util::string_util::toXML(text); }

/// A field of categories, with its values.
void write_categories(const column& c, std::ostream& out) {
  out << "<DataField name=\"" << escaped(c.name()) << "\" optype=\"categorical\" >\n";
  for (code_t code = 1; code <= c.values()->size_of_known(); ++code) {
    out << "<Value value=\"" << escaped(c.values()->get_value(code)) << "\" />\n";
  }
  out << "</DataField>\n";
}

void write_field(const column& c, std::ostream& out) {
  switch (c.type()) {
    case column::WEIGHTS:
    case column::IGNORE:
      out << "<Extender name=\"" << escaped(c.name()) << "\" value=\"" << c.get_type() << "\" />\n";
      break;
    case column::CONTINUOUS:
      out << "<DataField name=\"" << escaped(c.name()) << "\" optype=\"continuous\" />\n";
      break;
    default:
      write_categories(c, out);
  }
}

void write_predicate(const branch_test& test, std::ostream& out) {
  if (test.how == branch_test::UNHANDLED) return;
  out << "<SimplePredicate field=\"" << escaped(test.tested->name()) << "\" operator=\"";
  if (test.how == branch_test::EQUAL) {
    out << "equal\" value=\"" << escaped(test.printed_value());
  } else if (test.how == branch_test::OTHER) {
    out << "notEqual\" value=\"" << escaped(test.printed_value());
  } else {
    // Deliberate: a cut's value is written as it is. Only ordered texts could need more.
    out << (test.how == branch_test::UP_TO ? "lessOrEqual" : "greaterThan") << "\" value=\""
        << test.printed_value();
  }
  out << "\" />\n";
}

}  // namespace

void table::toXML_data_dictionary(std::ostream& out) const {
  out << "<DataDictionary numberOfFields=\"" << n_columns() << "\">\n";
  for (unsigned long i = 0; i < n_columns(); ++i) write_field(get_column(i), out);
  out << "</DataDictionary>\n";
}

void table::toXML_mining_schema(std::ostream& out, const zel::adt::bitmap* selection) const {
  out << "<MiningSchema>\n";
  unsigned long attribute = 0;
  for (unsigned long i = 0; i < n_columns(); ++i) {
    const column& c = get_column(i);
    const bool is_attribute = c.type() != column::CLASS && c.type() != column::WEIGHTS;
    const unsigned long at = is_attribute ? attribute++ : 0;
    if (c.type() == column::IGNORE) continue;
    if (is_attribute && selection != nullptr && !selection->get(at)) continue;
    out << "<MiningField name=\"" << escaped(c.name()) << "\" usageType=\""
        << (c.type() == column::CLASS ? "predicted" : "active") << "\" />\n";
  }
  out << "</MiningSchema>\n";
}

void decision_node::toXML(const table& t, std::ostream& out) const {
  if (father_ == nullptr) {
    out << "<True />\n";
  } else {
    write_predicate(test_before(t, *this), out);
  }
  if (is_split() && !activated_) return;
  const o_set& classes = *t.class_column().values();
  out << std::fixed << std::setprecision(3);
  for (code_t c = 1; c < t.n_class_codes(); ++c) {
    out << "<ScoreDistribution value=\"" << escaped(classes.get_value(c)) << "\" recordCount =\""
        << class_weight(c) << "\" />\n";
  }
}

void decision_tree::toXML(const table& t, std::ostream& out) const {
  zel::adt::walk(
      *this,
      [&](const decision_tree& tree, unsigned long) {
        const decision_node& node = *tree.get_node();
        out << "<Node score=\"";
        if (is_leaf(tree)) out << escaped(printed_class(t, node));
        out << "\" recordCount=\"" << node.n_cases() << "\" knownFrac=\"" << node.fraction()
            << "\">\n";
        node.toXML(t, out);
        return true;
      },
      [&](const decision_tree&, unsigned long) { out << "</Node>\n"; });
}

void dtree::toXML(std::ostream& out, const conf_matrix* test) const {
  require_trees();
  require_plain_shares("PMML");
  if (!decides().is_plain() && votes()) throw std::runtime_error(k_no_decision_together);
  out << "<PMML version=\"2.0\">\n<Header copyright=\"" << k_copyright << "\">\n"
      << "<Application name=\"" << k_library_name << "\" version=\"" << k_version << "\" />\n"
      << "</Header>\n";
  table_->toXML_data_dictionary(out);
  out << "<TreeModel modelName=\"" << escaped(name_)
      << "\" functionName=\"classification\" algorithmName=\"" << k_product << "\">\n";
  table_->toXML_mining_schema(out, attributes_.get());
  for (unsigned long i = 0; i < n_trees(); ++i) get_tree(i)->toXML(*table_, out);
  out << "<Extension>\n";
  if (training_cm_) training_cm_->toXML(out, "Training");
  if (test != nullptr) test->toXML(out, "Test");
  out << "</Extension>\n</TreeModel>\n</PMML>\n";
}

}  // namespace orvik::impls
