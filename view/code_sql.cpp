// A model as one SQL query: its nodes are rows of values, and a recursion takes every row of the
// table from node to node of every tree. So the query's depth does not grow with the tree's, which
// engines limit. Of several trees the found classes are votes, or their shares are averaged. Where
// errors have costs, or shares of leaves lean on prior ones, one tree answers by its shares, too.
//
// Sums are made by a recursion of their own, share after share in the order of the leaves: what an
// engine's sum() does with the last bits differs from engine to engine.
#include <cfloat>
#include <cmath>
#include <stdexcept>

#include "code_costs.h"
#include "forms.h"
#include "node_tables.h"
#include "wording.h"
#include "zel/text/decimal.h"

namespace orvik::view {

using orvik::placed_node;
using orvik::tree_node;

namespace {

constexpr char k_one_tree_decides[] =
    "SQL of one tree of several does not say what errors cost and what shares lean on: leave out "
    "--tree";

constexpr char k_reached[] = R"source(
  -- From a node to its branches; without a value down all of them, in proportion to their weights;
  -- `value` is what the node asks for.
  reached(orvik_row, tree, node, part, shared, value) AS (
    SELECT a.orvik_row, t.tree, b.node, %WHOLE%, 0,
           %VALUE%
    FROM asked AS a CROSS JOIN trees AS t CROSS JOIN branches AS b
    WHERE b.node = t.root AND b.father = -1
    UNION ALL
    SELECT r.orvik_row, r.tree, b.node,
           CASE WHEN r.value IS NULL THEN r.part * b.weight / NULLIF(b.whole, 0) ELSE r.part END,
           CASE WHEN r.value IS NULL THEN 1 ELSE r.shared END,
           %VALUE%
    FROM reached AS r CROSS JOIN branches AS b CROSS JOIN asked AS a
    WHERE b.father = r.node AND a.orvik_row = r.orvik_row
      AND CASE WHEN r.value IS NULL THEN b.weight <> 0 OR b.whole = 0
               ELSE (b.above IS NULL OR r.value > b.above)
                    AND (b.up_to IS NULL OR r.value <= b.up_to)
                    AND (b.other_than IS NULL OR r.value <> b.other_than) END),)source";

constexpr char k_found[] = R"source(
  parts AS (
    SELECT r.orvik_row, r.tree, s.class, r.part * s.weight / s.whole AS share,
           ROW_NUMBER() OVER (PARTITION BY r.orvik_row, r.tree, s.class ORDER BY r.node) AS place
    FROM reached AS r CROSS JOIN leaf_shares AS s
    WHERE r.shared = 1 AND s.node = r.node),
  sums(orvik_row, tree, class, place, total) AS (
    SELECT orvik_row, tree, class, place, share FROM parts WHERE place = 1
    UNION ALL
    SELECT s.orvik_row, s.tree, s.class, p.place, s.total + p.share
    FROM sums AS s CROSS JOIN parts AS p
    WHERE p.orvik_row = s.orvik_row AND p.tree = s.tree AND p.class = s.class
      AND p.place = s.place + 1),
  totals AS (
    SELECT orvik_row, tree, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row, tree, class ORDER BY place DESC) AS from_last
    FROM sums),
  ranked AS (
    SELECT orvik_row, tree, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row, tree ORDER BY total DESC, class) AS place
    FROM totals WHERE from_last = 1 AND total > 0),
  found AS (
    SELECT r.orvik_row, r.tree, l.class, l.confidence
    FROM reached AS r CROSS JOIN leaves AS l WHERE r.shared = 0 AND l.node = r.node
    UNION ALL
    SELECT orvik_row, tree, class, total FROM ranked WHERE place = 1))source";

constexpr char k_select[] = R"source(
SELECT n.*, c.name AS predicted, COALESCE(f.confidence, 0) AS confidence
FROM numbered AS n LEFT JOIN %FOUND% AS f ON f.orvik_row = n.orvik_row
  LEFT JOIN classes AS c ON c.code = COALESCE(f.class, 0)
ORDER BY n.orvik_row;
)source";

// A tree that finds no class, which it cannot where it was grown on no case, votes for none.
constexpr char k_vote[] = R"source(,
  -- Every tree has one vote; of equals the first class is found.
  votes AS (
    SELECT n.orvik_row, COALESCE(f.class, 0) AS class, COUNT(*) AS votes
    FROM numbered AS n CROSS JOIN trees AS t
      LEFT JOIN found AS f ON f.orvik_row = n.orvik_row AND f.tree = t.tree
    GROUP BY n.orvik_row, COALESCE(f.class, 0)))source";

constexpr char k_most_votes[] = R"source(,
  elections AS (
    SELECT orvik_row, class, votes,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY votes DESC, class) AS place
    FROM votes),
  elected AS (
    SELECT orvik_row, class, CAST(votes AS DOUBLE PRECISION) / %TREES% AS confidence
    FROM elections WHERE place = 1))source";

constexpr char k_weighed_vote[] = R"source(,
  -- Every tree has its votes, added up in the order of the trees; of equals the first class is
  -- found. A class has most of them in its last row.
  ballots AS (
    SELECT n.orvik_row, COALESCE(f.class, 0) AS class, t.votes,
           ROW_NUMBER() OVER (PARTITION BY n.orvik_row, COALESCE(f.class, 0) ORDER BY t.tree)
             AS place
    FROM numbered AS n CROSS JOIN trees AS t
      LEFT JOIN found AS f ON f.orvik_row = n.orvik_row AND f.tree = t.tree),
  votes(orvik_row, class, place, total) AS (
    SELECT orvik_row, class, place, votes FROM ballots WHERE place = 1
    UNION ALL
    SELECT v.orvik_row, v.class, b.place, v.total + b.votes
    FROM votes AS v CROSS JOIN ballots AS b
    WHERE b.orvik_row = v.orvik_row AND b.class = v.class AND b.place = v.place + 1))source";

constexpr char k_most_weighed_votes[] = R"source(,
  elections AS (
    SELECT orvik_row, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY total DESC, class) AS place
    FROM votes),
  elected AS (
    SELECT orvik_row, class, total / %VOTES% AS confidence FROM elections WHERE place = 1))source";

constexpr char k_shared[] = R"source(
  -- The shares of the classes over all trees, as many times as a tree has votes, leaf by leaf; of
  -- equals the first class is found. A class has most of them in its last row.
  parts AS (
    SELECT r.orvik_row, s.class, %SHARE% AS share,
           ROW_NUMBER() OVER (PARTITION BY r.orvik_row, s.class ORDER BY r.node) AS place
    FROM reached AS r CROSS JOIN leaf_shares AS s
    WHERE s.node = r.node),
  sums(orvik_row, class, place, total) AS (
    SELECT orvik_row, class, place, share FROM parts WHERE place = 1
    UNION ALL
    SELECT s.orvik_row, s.class, p.place, s.total + p.share
    FROM sums AS s CROSS JOIN parts AS p
    WHERE p.orvik_row = s.orvik_row AND p.class = s.class AND p.place = s.place + 1))source";

constexpr char k_largest[] = R"source(,
  ranked AS (
    SELECT orvik_row, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY total DESC, class) AS place
    FROM sums WHERE total > 0),
  elected AS (
    SELECT orvik_row, class, total / %VOTES% AS confidence FROM ranked WHERE place = 1))source";

// Costs are of known classes. Votes or shares of none but the unknown class are left for it.
constexpr char k_cheapest[] = R"source(,
  -- The class of the least expected cost, the first of equals: sums that differ by their rounding
  -- are equal. Its confidence is its share.
  given AS (
    SELECT orvik_row, class, MAX(%TOTAL%) AS total FROM %SUMS% GROUP BY orvik_row, class),
  expected AS (
    SELECT t.orvik_row, k.predicted, SUM(t.total * k.cost) AS cost
    FROM given AS t CROSS JOIN costs AS k
    WHERE k.actual = t.class AND t.total > 0
    GROUP BY t.orvik_row, k.predicted),
  least AS (SELECT orvik_row, MIN(cost) AS cost FROM expected GROUP BY orvik_row),
  decided AS (
    SELECT e.orvik_row, MIN(e.predicted) AS class
    FROM expected AS e CROSS JOIN least AS l
    WHERE l.orvik_row = e.orvik_row AND e.cost <= l.cost * (1 + 1e-9)
    GROUP BY e.orvik_row),
  elected AS (
    SELECT n.orvik_row, d.class, t.total / %VOTES% AS confidence
    FROM numbered AS n LEFT JOIN decided AS d ON d.orvik_row = n.orvik_row
      LEFT JOIN given AS t ON t.orvik_row = n.orvik_row AND t.class = COALESCE(d.class, 0)))source";

/// How the trees of a query answer together.
enum class answer : unsigned char { OF_ONE, EQUAL_VOTES, VOTES, SHARES };

answer answer_of(const chosen_tree& chosen) {
  const unsigned long n = chosen.roots().size();
  const bool plain = !chosen.model.decides_by_costs() && !leans(chosen.model);
  if (n == 1) return plain ? answer::OF_ONE : answer::SHARES;
  if (chosen.model.get_combination() != orvik::combination::votes) return answer::SHARES;
  for (unsigned long i = 0; i < n; ++i) {
    if (chosen.model.get_votes(i) != 1) return answer::VOTES;
  }
  return answer::EQUAL_VOTES;
}

/// How classes are found; and where votes or shares are added up, the largest of them by the text
/// behind it.
struct counting {
  std::string count, decide;
};

counting counting_of(answer how) {
  switch (how) {
    case answer::OF_ONE:
      return {k_found, ""};
    case answer::EQUAL_VOTES:
      return {std::string(k_found) + k_vote, k_most_votes};
    case answer::VOTES:
      return {std::string(k_found) + k_weighed_vote, k_most_weighed_votes};
    case answer::SHARES:
      break;
  }
  return {k_shared, k_largest};
}

std::string decimal(double x) { return zel::text::shortest_decimal(x); }

/// The largest double that becomes `value` or less as a float.
double float_border(float value) {
  if (value >= FLT_MAX) return DBL_MAX;
  const float next = std::nextafter(value, FLT_MAX);
  const double middle = (static_cast<double>(value) + static_cast<double>(next)) / 2;
  // In the middle the even one is nearest.
  return static_cast<float>(middle) == value ? middle : std::nextafter(middle, -DBL_MAX);
}

/// A number of the column as one of double precision, in which databases compute. A comparison
/// "<=" with it holds for the same values of the column.
std::string upper_border(const orvik::column_view& c, orvik::code_t code) {
  const double value = c.number(code);
  if (c.type() == "float") return decimal(float_border(static_cast<float>(value)));
  return c.type() == "long double" ? decimal(value) : c.exact(code);
}

/// Of a float column: what its value is above.
std::string lower_border(const orvik::column_view& c, orvik::code_t code) {
  const auto value = static_cast<float>(c.number(code));
  return decimal(float_border(std::nextafter(value, -FLT_MAX)));
}

class sql_writer {
 public:
  sql_writer(const chosen_tree& chosen, const std::string& relation, std::ostream& out)
      : chosen_(chosen),
        schema_(chosen.schema()),
        words_(chosen.model),
        tables_(chosen),
        how_(answer_of(chosen)),
        leans_(how_ == answer::SHARES && leans(chosen.model)),
        known_(leans_ || (how_ == answer::SHARES && !chosen.model.votes())),
        relation_(relation),
        out_(out) {
    for (const tree_node& root : chosen.roots()) add_tree(root);
    places_.resize(schema_.n_columns());
    for (std::size_t i = 0; i < tables_.columns.size(); ++i) {
      places_[tables_.columns[i].column.index()] = i;
    }
  }

  void write();

 private:
  std::string column(const tested_column& tested) const {
    return sql_literal(words_.column_name(tested.column.index()), '"');
  }
  std::string literal(const orvik::column_view& c, orvik::code_t code) const;
  std::string value_of(const tested_column& tested) const;
  std::string place_of(const tested_column& tested) const;
  std::string asked_by(const tree_node& node) const;
  void add_tree(const tree_node& root);
  void write_asked();
  bool has_votes() const { return how_ == answer::VOTES || how_ == answer::SHARES; }
  std::string votes_of(double votes) const {
    return "CAST(" + decimal(votes) + " AS DOUBLE PRECISION)";
  }
  std::string all_votes() const;
  void write_trees();
  void write_query();
  void write_classes();
  void write_costs();
  std::string query() const;
  void write_leaf_shares(std::size_t i);
  void write_branch(const placed_node& below, const std::string& number);
  void write_branches();
  void write_leaves();
  void write_shares();
  template <class Row>
  void write_rows(const char* head, const char* none, const Row& row);

  const chosen_tree& chosen_;
  orvik::schema_view schema_;
  wording words_;
  node_tables tables_;
  std::vector<std::size_t> places_;  // in tables_.columns, by column
  std::vector<placed_node> nodes_;   // of all trees, numbered by their places
  std::vector<std::size_t> roots_;   // of the trees
  answer how_;
  bool leans_;  // its shares on prior ones
  bool known_;  // shares of leaves that no case came to are those of a node above
  const std::string& relation_;
  std::ostream& out_;
};

std::string sql_writer::literal(const orvik::column_view& c, orvik::code_t code) const {
  return c.is_numeric() ? upper_border(c, code) : sql_literal(words_.utf8(c.exact(code)));
}

/// The place of a value among those of training; none for others.
std::string sql_writer::place_of(const tested_column& tested) const {
  const orvik::column_view c = tested.column;
  const std::string name = column(tested);
  std::string text = "CASE";
  for (orvik::code_t code = 1; code <= c.n_values(); ++code) {
    const bool range = c.type() == "float";
    text += "\n      WHEN " + name +
            (range ? " > " + lower_border(c, code) + " AND " + name + " <= " : " = ") +
            literal(c, code) + " THEN " + std::to_string(code);
  }
  if (const orvik::code_t unknown = c.code_of_unknown()) {
    text += "\n      ELSE " + std::to_string(unknown);
  }
  return text + " END";
}

std::string sql_writer::value_of(const tested_column& tested) const {
  return tested.is_cut() && tested.is_numeric() ? column(tested) : place_of(tested);
}

/// The number of the value that a node asks for; -1 of a leaf.
std::string sql_writer::asked_by(const tree_node& node) const {
  return node.is_leaf() ? "-1" : std::to_string(places_[node.tested().index()]);
}

void sql_writer::write_asked() {
  out_ << "  numbered AS (SELECT ROW_NUMBER() OVER () AS orvik_row, t.* FROM "
       << sql_literal(relation_, '"')
       << " AS t),\n  -- What the tree asks of a row: numbers, and of"
       << " names their places.\n  asked AS (SELECT orvik_row";
  for (std::size_t i = 0; i < tables_.columns.size(); ++i) {
    out_ << ",\n    " << value_of(tables_.columns[i]) << " AS value_" << i;
  }
  out_ << "\n    FROM numbered),\n";
}

template <class Row>
void sql_writer::write_rows(const char* head, const char* none, const Row& row) {
  out_ << "  " << head << " AS (VALUES\n    " << none;
  for (std::size_t i = 0; i < nodes_.size(); ++i) row(nodes_[i], std::to_string(i));
  out_ << "),\n";
}

void sql_writer::write_classes() {
  out_ << "  classes(code, name) AS (VALUES";
  for (orvik::code_t c = 0; c < schema_.n_class_codes(); ++c) {
    out_ << (c == 0 ? "\n    (" : ",\n    (") << c << ", " << sql_literal(words_.class_name(c))
         << ')';
  }
  out_ << "),\n";
}

/// A value of a discrete column is its place: above the one before, up to itself.
void sql_writer::write_branch(const placed_node& below, const std::string& number) {
  using orvik::branch_test;
  if (below.level == 0) {
    out_ << ",\n    (-1," << number << ",NULL,NULL,NULL,0,0," << asked_by(below.node) << ')';
    return;
  }
  const branch_test test = below.node.test_before();
  const bool one_value = test.how == branch_test::EQUAL, above = test.how == branch_test::ABOVE;
  const bool other = test.how == branch_test::OTHER;
  const std::string limit = !one_value && !other && test.tested.is_numeric()
                                ? upper_border(test.tested, test.code)
                                : std::to_string(test.code);
  const tree_node father = nodes_[static_cast<std::size_t>(below.father)].node;
  out_ << ",\n    (" << below.father << ',' << number << ','
       << (one_value ? std::to_string(test.code - 1)
           : above   ? limit
                     : "NULL")
       << ',' << (above || other ? "NULL" : limit) << ',' << (other ? limit : "NULL") << ','
       << decimal(below.node.weight()) << ',' << decimal(father.weight()) << ','
       << asked_by(below.node) << ')';
}

void sql_writer::write_branches() {
  const auto row = [this](const placed_node& below, const std::string& number) {
    write_branch(below, number);
  };
  write_rows("branches(father, node, above, up_to, other_than, weight, whole, asks)",
             "(-1,-1,CAST(NULL AS DOUBLE PRECISION),CAST(NULL AS DOUBLE PRECISION),"
             "CAST(NULL AS DOUBLE PRECISION),"
             "CAST(0 AS DOUBLE PRECISION),CAST(0 AS DOUBLE PRECISION),-1)",
             row);
}

void sql_writer::write_leaves() {
  const auto row = [this](const placed_node& each, const std::string& number) {
    if (!each.node.is_leaf()) return;
    out_ << ",\n    (" << number << ',' << each.node.predicted() << ','
         << decimal(each.node.weight() > 0 ? each.node.confidence() : 1.0) << ')';
  };
  write_rows("leaves(node, class, confidence)", "(-1,0,CAST(0 AS DOUBLE PRECISION))", row);
}

/// Of a leaf that no case came to: its class; where shares lean on prior ones, those of the nearest
/// node above that has some. The whole is 1 more then, and the prior share is added.
void sql_writer::write_leaf_shares(std::size_t i) {
  const placed_node* from = &nodes_[i];
  const std::string number = std::to_string(i);
  while (known_ && !(from->node.weight() > 0) && from->father >= 0) {
    from = &nodes_[static_cast<std::size_t>(from->father)];
  }
  if (!(from->node.weight() > 0)) {
    out_ << ",\n    (" << number << ',' << from->node.predicted() << (leans_ ? ",1,0,1)" : ",1,1)");
    return;
  }
  const double* const weights = from->node.class_weights();
  const std::vector<double> prior = chosen_.model.get_prior();
  for (orvik::code_t c = 0; c < schema_.n_class_codes(); ++c) {
    if (weights[c] == 0 && !(leans_ && prior[c] > 0)) continue;
    out_ << ",\n    (" << number << ',' << c << ',' << decimal(weights[c]) << ',';
    if (leans_) out_ << decimal(prior[c]) << ',';
    out_ << decimal(from->node.weight() + (leans_ ? 1 : 0)) << ')';
  }
}

void sql_writer::write_shares() {
  const auto row = [this](const placed_node& each, const std::string& number) {
    if (each.node.is_leaf()) write_leaf_shares(std::stoul(number));
  };
  leans_ ? write_rows("leaf_shares(node, class, weight, prior, whole)",
                      "(-1,0,CAST(0 AS DOUBLE PRECISION),CAST(0 AS DOUBLE PRECISION),"
                      "CAST(1 AS DOUBLE PRECISION))",
                      row)
         : write_rows("leaf_shares(node, class, weight, whole)",
                      "(-1,0,CAST(0 AS DOUBLE PRECISION),CAST(1 AS DOUBLE PRECISION))", row);
}

/// What it costs to predict a class where another is true.
void sql_writer::write_costs() {
  if (!chosen_.model.decides_by_costs()) return;
  const std::vector<double> costs = cost_table(chosen_.model);
  const unsigned long n = schema_.n_class_codes();
  out_ << "  costs(actual, predicted, cost) AS (VALUES\n    (0,0,CAST(0 AS DOUBLE PRECISION))";
  for (orvik::code_t actual = 1; actual < n; ++actual) {
    for (orvik::code_t p = 1; p < n; ++p) {
      out_ << ",\n    (" << actual << ',' << p << ',' << decimal(costs[actual * n + p]) << ')';
    }
  }
  out_ << "),\n";
}

void sql_writer::add_tree(const tree_node& root) {
  const std::size_t first = nodes_.size();
  roots_.push_back(first);
  for (placed_node each : nodes_of(root)) {
    if (each.father >= 0) each.father += static_cast<long>(first);
    nodes_.push_back(each);
  }
}

/// Added up as the model adds them.
std::string sql_writer::all_votes() const {
  double all = 0;
  for (unsigned long i = 0; i < roots_.size(); ++i) all += chosen_.model.get_votes(i);
  return votes_of(all);
}

void sql_writer::write_trees() {
  out_ << (has_votes() ? "  trees(tree, root, votes) AS (VALUES"
                       : "  trees(tree, root) AS (VALUES");
  for (std::size_t i = 0; i < roots_.size(); ++i) {
    out_ << (i == 0 ? " (" : ",\n    (") << i << ',' << roots_[i];
    if (has_votes()) out_ << ',' << votes_of(chosen_.model.get_votes(i));
    out_ << ')';
  }
  out_ << "),\n";
}

void sql_writer::write() {
  out_ << "-- The class " << cpp_literal(schema_.class_column().name()) << " of every row of "
       << cpp_literal(relation_) << " by the model " << cpp_literal(words_.model_name())
       << ": written by orvik view.\n-- Unknown values are NULL. Columns of numbers must hold "
          "numbers."
       << "\nWITH RECURSIVE\n";
  write_asked();
  write_trees();
  write_classes();
  write_branches();
  write_leaves();
  write_shares();
  write_costs();
  write_query();
}

/// All but the tables.
std::string sql_writer::query() const {
  const counting how = counting_of(how_);
  return k_reached + 1 + how.count + (chosen_.model.decides_by_costs() ? k_cheapest : how.decide) +
         k_select;
}

void sql_writer::write_query() {
  std::string value = tables_.columns.empty() ? "NULL" : "CASE b.asks";
  for (std::size_t i = 0; i < tables_.columns.size(); ++i) {
    const std::string place = std::to_string(i);
    value.append(" WHEN ").append(place).append(" THEN a.value_").append(place);
  }
  if (!tables_.columns.empty()) value += " END";
  std::string query = this->query();
  const auto put = [&query](const std::string& mark, const std::string& text) {
    for (std::size_t at = 0; (at = query.find(mark)) != query.npos;) {
      query.replace(at, mark.size(), text);
    }
  };
  put("%VALUE%", value);
  put("%SHARE%", leans_ ? "r.part * s.weight / s.whole + r.part * s.prior / s.whole"
                        : "r.part * s.weight / s.whole");
  put("%SUMS%", how_ == answer::SHARES ? "sums" : "votes");
  put("%TOTAL%", how_ == answer::EQUAL_VOTES ? "CAST(votes AS DOUBLE PRECISION)" : "total");
  put("%WHOLE%", how_ == answer::SHARES ? "t.votes" : votes_of(1));
  put("%FOUND%", how_ == answer::OF_ONE ? "found" : "elected");
  put("%TREES%", std::to_string(roots_.size()));
  put("%VOTES%", all_votes());
  out_ << query;
}

}  // namespace

void write_sql(const chosen_tree& chosen, const std::string& relation, std::ostream& out) {
  require_plain_shares(chosen.model, "SQL");
  const bool one_of_many = chosen.tree != k_whole_model && chosen.model.votes();
  if (one_of_many && (chosen.model.decides_by_costs() || leans(chosen.model))) {
    throw std::runtime_error(k_one_tree_decides);
  }
  sql_writer(chosen, relation, out).write();
}

}  // namespace orvik::view
