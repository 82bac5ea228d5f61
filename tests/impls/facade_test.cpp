// The public handles: what they add to what they forward to.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "impls/support/stock_tables.h"
#include "orvik/orvik.h"
#include "zel/inpout_scratch.h"

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;

constexpr char k_examples[] = ORVIK_ROOT "/examples/";

class golf_handles : public testing::Test {
 protected:
  void SetUp() override {
    t.load_meta_data(k_examples + std::string("golf.names"), ',', "?");
    t.load_data(k_examples + std::string("golf.data"), ',', 2, nullptr);
  }
  static std::string text_of(const dtree& model) {
    std::ostringstream out;
    model.toTEXT(out);
    return out.str();
  }
  table t{"golf"};
};

TEST_F(golf_handles, take_all_rows_for_no_cases) {
  const std::unique_ptr<table::subset> all(t.get_wsubset_all()), first(t.get_wsubset_first_n(1));
  dtree model("m"), same("m");
  model.build(&t, nullptr);
  same.build(&t, all.get());
  EXPECT_EQ(model.size(), 8u);
  EXPECT_EQ(text_of(model), text_of(same));
  for (table::subset* cases : {static_cast<table::subset*>(nullptr), all.get()}) {
    double depth = 0;
    const std::unique_ptr<conf_matrix> matrix(model.test(&t, cases, &depth));
    EXPECT_EQ(matrix->ncases(), 14u);
    EXPECT_EQ(matrix->err_misc(), 0);
    EXPECT_EQ(matrix->get_majority_class_value(), "yes");
    EXPECT_DOUBLE_EQ(depth, 24. / 14);
  }
  std::ostringstream one, every;
  t.toCSV(one, first.get(), true);
  t.toCSV(every, nullptr, true);
  EXPECT_EQ(one.str(), "outlook,temperature,humidity,windy,play\nsunny,85,85,false,no\n");
  EXPECT_EQ(std::ranges::count(every.str(), '\n'), 15);
}

TEST_F(golf_handles, hand_out_objects_of_their_own) {
  auto model = std::make_unique<dtree>("m");
  model->set_conf_level(1);
  model->build(&t, nullptr);
  const std::unique_ptr<table::subset> all(t.get_wsubset_all());
  model->set_training_cm(&t, all.get());
  const std::unique_ptr<dtree> copy(model->clone(false)), again(model->clone(true));
  EXPECT_EQ(again->get_training_table(), nullptr);
  EXPECT_EQ(again->get_training_cm(), nullptr);
  const std::unique_ptr<table> schema(model->get_training_table());
  const std::unique_ptr<conf_matrix> matrix(model->get_training_cm());
  const std::string text = text_of(*model);
  model.reset();
  again->build(&t, nullptr);
  EXPECT_EQ(text_of(*copy), text);
  EXPECT_EQ(text_of(*again), text);
  EXPECT_EQ(schema->get_no_rows(), 0u);
  EXPECT_EQ(schema->get_no_columns(), 5u);
  EXPECT_EQ(schema->get_no_predictive(), 4u);
  const std::unique_ptr<conf_matrix> second(matrix->clone());
  EXPECT_EQ(second->cases(), 14);
}

TEST_F(golf_handles, refuse_rows_that_the_table_does_not_have) {
  const std::string no_row = "there is no row 14 in a table of 14 rows";
  dtree model("m");
  model.build(&t, nullptr);
  const std::string text = text_of(model);
  const std::unique_ptr<table::subset> cases(t.get_wsubset_first_n(13));
  cases->push_back(14, 1.0);
  std::ostringstream out;
  const std::function<void()> uses[] = {
      [&] { t.get_weight(14); },
      [&] { t.get_class(14); },
      [&] { delete t.get_wsubset_difference(cases.get()); },
      [&] { t.toCSV(out, cases.get(), true); },
      [&] { cases->stratify_frac(.5, &t, false); },
      [&] { cases->stratify(3, &t, true); },
      [&] { cases->stratify_cross(3, &t, false); },
      [&] { model.build(&t, cases.get()); },
      [&] { model.feature_selection(&t, cases.get(), nullptr); },
      [&] { model.feature_selection(&t, nullptr, cases.get()); },
      [&] { model.prune(&t, cases.get()); },
      [&] { model.set_training_cm(&t, cases.get()); },
      [&] { delete model.test(&t, cases.get(), nullptr); },
  };
  for (const auto& use : uses) EXPECT_EQ(error_of(use), no_row);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(text_of(model), text);
  for (unsigned long i = 0; i < 13; ++i) EXPECT_EQ(cases->get(i).first, i) << "in their order";
}

TEST_F(golf_handles, refuse_what_a_table_or_subset_lacks) {
  const std::unique_ptr<table::subset> cases(t.get_wsubset_all());
  const conf_matrix none(nullptr), one(&t);
  dtree unbuilt("m");
  const std::string no_trees = "no unpruned tree",
                    no_matrix = "conf_matrix: the handle holds no matrix";
  std::ostringstream sink;
  table fresh("t"), schema("t");
  schema.load_meta_data(k_examples + std::string("golf.names"), ',', "?");
  const std::string no_class = "the table has no class column";
  const std::pair<std::function<void()>, std::string> uses[] = {
      {[&] { cases->get(14); }, "there is no case 14 in a subset of 14 cases"},
      {[&] { cases->set(14, 0, 1); }, "there is no case 14 in a subset of 14 cases"},
      {[&] { cases->fold_begin(0, 0); }, "there must be at least one fold"},
      {[&] { cases->fold_end(0, 0); }, "there must be at least one fold"},
      {[&] { cases->stratify_cross(0, &t, true); }, "there must be at least one fold"},
      {[&] { cases->stratify(1, nullptr, true); }, "no table provided with the classes"},
      {[&] { cases->stratify(1, &fresh, true); }, no_class},
      {[&] { conf_matrix matrix(&fresh); }, no_class},
      {[&] { fresh.get_class(0); }, "there is no row 0 in a table of 0 rows"},
      {[&] { schema.get_weight(0); }, "there is no row 0 in a table of 0 rows"},
      {[&] { cases->stratify(1, &schema, true); }, "there is no row 0 in a table of 0 rows"},
      {[&] { delete t.get_wsubset_difference(nullptr); },
       "no cases provided to take the others of"},
      {[&] { fresh.toBinary("/dev/null"); },
       "File: /dev/null cannot be written: a table without columns"},
      {[&] { unbuilt.build(nullptr, cases.get()); }, "no table provided to build the tree"},
      {[&] { unbuilt.build(&fresh, cases.get()); }, "there is no row 0 in a table of 0 rows"},
      {[&] { unbuilt.feature_selection(nullptr, nullptr, nullptr); },
       "no table provided to select features"},
      {[&] { unbuilt.prune(&t, nullptr); }, no_trees},
      {[&] { unbuilt.toTEXT(sink); }, no_trees},
      {[&] { delete unbuilt.test(&t, nullptr, nullptr); }, no_trees},
      {[&] { delete unbuilt.test(nullptr, nullptr, nullptr); },
       "no table provided to test the tree"},
      {[&] { unbuilt.attributes(nullptr); }, "no table provided with the attributes"},
      {[&] { delete none.clone(); }, no_matrix},
      {[&] { none.size(); }, no_matrix},
      {[&] { one.err_misc_majority(&none); }, no_matrix},
      {[&] { one.err_mae_majority(nullptr); }, no_matrix},
  };
  for (const auto& [use, error] : uses) EXPECT_EQ(error_of(use), error);

  for (table* empty : {&fresh, &schema}) {
    empty->rescale_weights();
    std::ostringstream out;
    empty->toXML_data_dictionary(out);
    empty->toXML_mining_schema(out);
    empty->toCSV(out, nullptr, true);
    EXPECT_EQ(empty->get_no_rows() + empty->get_elapsed(), 0);
    const std::unique_ptr<table::subset> all(empty->get_wsubset_all()),
        some(empty->get_wsubset_random(3)), rest(empty->get_wsubset_difference(all.get()));
    EXPECT_EQ(all->size() + some->size() + rest->size(), 0u);
  }
  EXPECT_EQ(fresh.get_no_columns() + fresh.get_no_predictive(), 0u);
}

using told = rapidjson::Value;

/// A value of a column, which is a number or a text there.
void expect_value(const orvik::column_view& c, orvik::code_t code, const told& value) {
  ASSERT_EQ(c.is_numeric(), value.IsNumber());
  if (c.is_numeric()) {
    EXPECT_EQ(std::stod(c.exact(code)), value.GetDouble());
  } else {
    EXPECT_EQ(c.exact(code), value.GetString());
  }
}

void expect_column(const orvik::column_view& c, const told& column) {
  EXPECT_EQ(c.name(), column["name"].GetString());
  EXPECT_EQ(c.type(), column["type"].GetString());
  EXPECT_EQ(c.role_name(), column["role"].GetString());
  EXPECT_EQ(c.unknown_text(), column["unknown"].GetString());
  ASSERT_EQ(c.lists_values(), column.HasMember("values"));
  const unsigned n = c.lists_values() ? column["values"].Size() : 0;
  EXPECT_TRUE(n == 0 || n == c.n_values());
  for (unsigned i = 0; i < n; ++i) expect_value(c, i + 1, column["values"][i]);
}

/// The tree below `node`, which is the one at `at` among those listed level by level.
void expect_tree(const orvik::tree_node& node, const told& nodes, unsigned at) {
  const told& same = nodes[at];
  EXPECT_EQ(node.weight(), same["weight"].GetDouble());
  EXPECT_EQ(node.n_cases(), same["cases"].GetUint64());
  EXPECT_EQ(node.fraction(), same["fraction"].GetDouble());
  ASSERT_EQ(node.is_leaf(), same.HasMember("class"));
  if (node.is_leaf()) {
    EXPECT_EQ(node.predicted(), same["class"].GetUint64());
    const double* share = node.class_weights();
    for (const told& each : same["classes"].GetArray()) EXPECT_EQ(*++share, each.GetDouble());
    return;
  }
  const orvik::branch_test test = node.test(0);
  EXPECT_EQ(node.tested().index(), same["column"].GetUint64());
  ASSERT_EQ(test.how == orvik::branch_test::UP_TO, same.HasMember("threshold"));
  if (same.HasMember("threshold")) expect_value(test.tested, test.code, same["threshold"]);
  ASSERT_EQ(node.n_children(), same["children"].Size());
  for (unsigned i = 0; i < node.n_children(); ++i) {
    const orvik::tree_node child = node.child(i);
    EXPECT_EQ(child.branch(), i);
    EXPECT_EQ(child.test_before().how, node.test(i).how);
    expect_tree(child, nodes, same["children"][i].GetUint());
  }
}

/// A forest on columns of all kinds, as a file gives it back.
class loaded_forests : public testing::Test {
 protected:
  void SetUp() override {
    const scratch::folder files;
    orvik::set_seed(7);
    built.set_forest(true, false, 4);
    built.build(&rows, nullptr);
    built.toBinary(files.at("m"));
    loaded.reset(dtree::fromBinary(files.at("m")));
  }
  void TearDown() override { zel::util::clear_seed(); }
  table rows{orvik::impls::mixed_table(300, 5, true)};
  dtree built{"m"};
  std::unique_ptr<dtree> loaded;
};

TEST_F(loaded_forests, are_read_as_they_are_rendered) {
  const orvik::schema_view own = loaded->get_schema(), given = rows.get_schema();
  std::ostringstream json;
  loaded->toJSON(json);
  rapidjson::Document document;
  document.Parse<rapidjson::kParseFullPrecisionFlag>(json.str().c_str());
  EXPECT_EQ(document["library"].GetString(), std::string(orvik::get_product()));
  EXPECT_EQ(document["encoding"].GetString(), loaded->get_encoding());
  EXPECT_EQ(document["name"].GetString(), loaded->get_name());
  EXPECT_EQ(document["ensemble"].GetBool(), loaded->votes());
  EXPECT_EQ(document["class"].GetUint64(), own.class_column().index());
  EXPECT_EQ(document["weights"].GetUint64(), own.weights_index());
  ASSERT_EQ(document["columns"].Size(), own.n_columns());
  for (unsigned i = 0; i < own.n_columns(); ++i) {
    expect_column(own.column(i), document["columns"][i]);
  }
  ASSERT_EQ(document["trees"].Size(), loaded->get_no_trees());
  for (unsigned i = 0; i < loaded->get_no_trees(); ++i) {
    const orvik::tree_node root = loaded->get_tree(i);
    const told& nodes = document["trees"][i]["nodes"];
    expect_tree(root, nodes, 0);
    EXPECT_EQ(root.size(), nodes.Size());
    EXPECT_EQ(nodes_of(root).size(), root.size());
  }
  EXPECT_EQ(loaded->get_tested().size(), loaded->nfeatures());
  EXPECT_TRUE(loaded->is_ensemble());

  for (orvik::row_t row = 0; row < rows.get_no_rows(); row += 7) {
    std::vector<orvik::code_t> codes;
    std::vector<std::string> texts;
    for (unsigned long a = 0; a < own.n_attributes(); ++a) {
      texts.push_back(given.attribute(a).exact(given.attribute(a).code_in(row)));
      codes.push_back(own.attribute(a).code_of(texts.back()));
    }
    double confidence = 0;
    std::vector<double> shares;
    const std::string predicted = loaded->predict(texts, 1.0, confidence, shares);
    const dtree::prediction found = loaded->predict_codes(codes, 1)[0];
    EXPECT_EQ(own.class_column().printed(found.class_code), predicted);
    EXPECT_EQ(found.confidence, confidence);
  }
}

TEST_F(loaded_forests, find_their_draws_again) {
  EXPECT_FALSE(loaded->has_draws());
  EXPECT_TRUE(loaded->get_oob_errors(&rows).empty());
  orvik::set_seed(8);
  EXPECT_FALSE(loaded->recall_draws(&rows));
  orvik::set_seed(7);
  ASSERT_TRUE(loaded->recall_draws(&rows));
  const std::vector<double> errors = loaded->get_oob_errors(&rows);
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors.back(), built.get_oob_error(&rows));
  const auto with = loaded->get_importance(&rows), without = loaded->get_importance();
  ASSERT_EQ(with.size(), without.size());
  for (std::size_t i = 0; i < with.size(); ++i) {
    EXPECT_EQ(with[i].gain, without[i].gain);
    EXPECT_FALSE(std::isnan(with[i].permutation));
    EXPECT_TRUE(std::isnan(without[i].permutation));
  }
}

TEST_F(loaded_forests, refuse_what_there_is_not) {
  const orvik::tree_node root = loaded->get_tree(0);
  orvik::tree_node leaf = root;
  while (!leaf.is_leaf()) leaf = leaf.child(0);
  const unsigned long n = root.n_children(), n_attributes = loaded->get_schema().n_attributes();
  const std::string codes = "the codes are not those of the model's attributes";
  const dtree fresh("f");
  const std::pair<std::function<void()>, std::string> uses[] = {
      {[&] { fresh.get_schema(); }, "the model has no trees"},
      {[&] { fresh.predict_codes({}, 0); }, "the model has no trees"},
      {[&] { fresh.get_importance(); }, "the model has no trees"},
      {[&] { fresh.get_tree(0); }, "there is no tree 0 in a model of 0"},
      {[&] { loaded->get_tree(4); }, "there is no tree 4 in a model of 4"},
      {[&] { root.child(n); },
       "there is no branch " + std::to_string(n) + " of a node with " + std::to_string(n)},
      {[&] { root.test_before(); }, "a root has no father"},
      {[&] { root.branch(); }, "a root has no father"},
      {[&] { leaf.tested(); }, "a leaf has no test"},
      {[&] { loaded->get_schema().column(99); }, "there is no column 99 among 7"},
      {[&] { loaded->get_schema().attribute(5); }, "there is no attribute 5 among 5"},
      {[&] { loaded->predict_codes({}, 1); }, codes},
      {[&] { loaded->predict_codes(std::vector<orvik::code_t>(n_attributes, 99), 1); }, codes},
      {[&] { rows.get_schema().codes_in(300, nullptr); },
       "there is no row 300 in a table of 300 rows"},
      {[&] { loaded->recall_draws(nullptr); }, "no table provided with the training cases"},
  };
  for (const auto& [use, error] : uses) EXPECT_EQ(error_of(use), error);
  EXPECT_EQ(rows.get_schema().column(0).code_in(300), orvik::k_unknown);
}

/// The threads of this process while it has read all but the last bytes of `rows`, plain or packed,
/// and waits for those.
unsigned long threads_while_loading(const std::string& rows, bool packed, unsigned long workers) {
  const scratch::folder files;
  const std::string content = packed ? scratch::gzipped(files, rows) : rows;
  files.put("names", "a,integer,continuous\nc,string,class\n");
  const std::string pipe = files.at(packed ? "pipe.gz" : "pipe");
  EXPECT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string held = std::to_string(content.size() - 10);
  const std::string feed = "cd '" + files.at("") + "'; (head -c " + held +
                           " content; sleep 0.3; ls /proc/" + std::to_string(::getpid()) +
                           "/task | wc -l > count; tail -c 10 content) > '" + pipe + "' &";
  files.put("content", content);
  EXPECT_EQ(std::system(feed.c_str()), 0);
  table t("t");
  t.load_meta_data(files.at("names"), ',', "?");
  t.load_data(pipe, ',', workers, nullptr);
  EXPECT_EQ(t.get_no_rows(), static_cast<unsigned long>(std::ranges::count(rows, '\n')));
  unsigned long count = 0;
  std::ifstream(files.at("count")) >> count;
  return count;
}

TEST(handles, load_on_one_thread_where_there_is_one_worker) {
  const auto running = [] {
    using std::filesystem::directory_iterator;
    return static_cast<unsigned long>(std::distance(directory_iterator("/proc/self/task"), {}));
  };
  std::string rows;
  for (unsigned i = 0; i < 200000; ++i) {
    rows += std::to_string(i * 7919 % 200000) + (i % 2 == 0 ? ",x\n" : ",y\n");
  }
  const struct { unsigned long process, load; } one_worker[] = {{1, 1}, {1, 4}, {4, 1}};
  for (const auto& row : one_worker) {
    orvik::set_n_workers(row.process);
    for (const bool packed : {false, true}) {
      const unsigned long before = running();
      EXPECT_LE(threads_while_loading(rows, packed, row.load), before)
          << row.process << row.load << packed;
    }
  }
  orvik::set_n_workers(4);
  if (std::thread::hardware_concurrency() > 1) {
    const unsigned long before = running();
    EXPECT_GT(threads_while_loading(rows, true, 4), before) << "the file is unpacked ahead";
  }
  orvik::set_n_workers(0);
}

}  // namespace
