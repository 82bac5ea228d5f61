// The public handles: what they add to what they forward to.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

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

TEST_F(golf_handles, build_on_all_rows_without_a_subset) {
  const std::unique_ptr<table::subset> all(t.get_wsubset_all());
  dtree model("m"), same("m");
  same.set_conf_level(0);  // ignored, as are the others
  same.set_conf_level(1.5);
  same.set_min_obj(-1);
  same.set_split_type(static_cast<dtree::_SplitType>(3));
  model.build(&t, nullptr);
  same.build(&t, all.get());
  EXPECT_EQ(model.size(), 8u);
  EXPECT_EQ(text_of(model), text_of(same));

  double depth = 0;
  const std::unique_ptr<conf_matrix> matrix(model.test(&t, all.get(), &depth));
  EXPECT_EQ(matrix->ncases(), 14u);
  EXPECT_EQ(matrix->err_misc(), 0);
  EXPECT_EQ(matrix->get_majority_class_value(), "yes");
  EXPECT_DOUBLE_EQ(depth, 24. / 14);
}

TEST_F(golf_handles, hand_out_objects_of_their_own) {
  auto model = std::make_unique<dtree>("m");
  EXPECT_EQ(model->get_training_table(), nullptr);
  EXPECT_EQ(model->get_training_cm(), nullptr);
  model->build(&t, nullptr);
  const std::unique_ptr<table::subset> all(t.get_wsubset_all());
  model->set_training_cm(&t, all.get());
  const std::unique_ptr<dtree> copy(model->clone(false));
  const std::unique_ptr<table> schema(model->get_training_table());
  const std::unique_ptr<conf_matrix> matrix(model->get_training_cm());
  const std::string text = text_of(*model);
  model.reset();
  EXPECT_EQ(text_of(*copy), text);
  EXPECT_EQ(schema->get_no_columns(), 5u);
  EXPECT_EQ(schema->get_no_predictive(), 4u);
  const std::unique_ptr<conf_matrix> second(matrix->clone());
  EXPECT_EQ(second->cases(), 14);
}

TEST_F(golf_handles, take_all_rows_for_no_cases_and_refuse_no_table) {
  dtree model("m");
  model.build(&t, nullptr);
  const std::unique_ptr<conf_matrix> matrix(model.test(&t, nullptr, nullptr));
  EXPECT_EQ(matrix->cases(), 14);
  EXPECT_THROW(delete model.test(nullptr, nullptr, nullptr), std::runtime_error);
  EXPECT_THROW(model.attributes(nullptr), std::runtime_error);
  EXPECT_THROW(model.prune(nullptr, nullptr), std::runtime_error);
  EXPECT_THROW(model.build(nullptr, nullptr), std::runtime_error);
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

TEST_F(golf_handles, write_all_rows_for_no_cases) {
  const std::unique_ptr<table::subset> first(t.get_wsubset_first_n(1));
  std::ostringstream one, all;
  t.toCSV(one, first.get(), true);
  t.toCSV(all, nullptr, true);
  EXPECT_EQ(one.str(), "outlook,temperature,humidity,windy,play\nsunny,85,85,false,no\n");
  EXPECT_EQ(std::ranges::count(all.str(), '\n'), 15);
}

TEST_F(golf_handles, of_nothing_throw_what_they_are_asked) {
  const conf_matrix none(nullptr);
  const conf_matrix some(&t);
  EXPECT_THROW(delete none.clone(), std::runtime_error);
  EXPECT_THROW(none.size(), std::runtime_error);
  EXPECT_THROW(some.err_misc_majority(&none), std::runtime_error);
  EXPECT_THROW(some.err_mae_majority(nullptr), std::runtime_error);
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
