// The public handles: what they add to what they forward to.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

#include "orvik/orvik.h"

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

}  // namespace
