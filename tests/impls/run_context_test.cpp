// Run contexts: trainings side by side, and trainings that are stopped.
#include "orvik/run_context.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "impls/support/stock_tables.h"
#include "orvik/orvik.h"
#include "zel/inpout_scratch.h"

namespace {

using orvik::dtree;
using orvik::run_context;
using orvik::table;

constexpr unsigned long k_rows = 3000;  // enough for tasks within a tree
constexpr char k_cancelled[] = "the run was cancelled";

class run_contexts : public testing::Test {
 protected:
  void SetUp() override {
    const orvik::impls::table_texts texts = orvik::impls::mixed_texts(k_rows, 1, /*weighted=*/true);
    names = files.put("t.names", texts.names);
    data = files.put("t.data", texts.data);
  }

  std::unique_ptr<table> load(run_context& run) const {
    auto t = std::make_unique<table>("t");
    t->use(run);
    t->load_meta_data(names, ',', "?");
    t->load_data(data, ',', run.get_n_workers(), nullptr);
    return t;
  }

  static std::unique_ptr<dtree> forest(run_context& run, unsigned long n_trees) {
    auto model = std::make_unique<dtree>("t");
    model->use(run);
    model->set_forest(true, false, n_trees);
    model->set_pruning_strategy(orvik::model::REPG);
    return model;
  }

  /// Everything that a training draws or that runs on the workers, as text.
  std::string train(run_context& run) const {
    const std::unique_ptr<table> t = load(run);
    const std::unique_ptr<table::subset> all(t->get_wsubset_all());
    all->randomize();
    all->stratify_cross(3, t.get(), true);
    const unsigned long n = all->fold_end(3, 0);
    const std::unique_ptr<table::subset> held(all->select(0, n, false)),
        rest(all->select(0, n, true));
    std::ostringstream out;
    out.precision(17);
    const auto report = [&](const dtree& model) {
      model.toJSON(out);
      const std::unique_ptr<orvik::conf_matrix> cm(model.test(t.get(), nullptr, nullptr));
      cm->toTEXT(out, 0);
    };
    const std::unique_ptr<dtree> trees = forest(run, 7);
    trees->build(t.get(), rest.get());
    report(*trees);
    for (unsigned strategy = orvik::model::NO_PRUNING; strategy <= orvik::model::MEPA; ++strategy) {
      const std::unique_ptr<dtree> bagged(trees->clone(/*parameters_only=*/true));
      bagged->set_forest(false, true, 3);
      bagged->set_pruning_strategy(static_cast<orvik::model::pruning_strategy>(strategy));
      bagged->build(t.get(), rest.get());
      bagged->toJSON(out);
    }
    out << trees->get_oob_error(t.get());
    for (const auto& each : trees->get_importance(t.get())) out << ' ' << each.permutation;
    unsigned long rows = 0;
    trees->score(data, ',', out, rows, ',', true);
    const std::unique_ptr<dtree> searched(trees->clone(true));
    searched->set_forest(false, false, 1);
    searched->set_pruning_strategy(orvik::model::MEPA);
    searched->set_fs(orvik::model::FORWARD, 0);
    searched->build(t.get(), rest.get());
    report(*searched);
    return out.str();
  }

  scratch::folder files;
  std::string names, data;
};

struct seeded {
  unsigned long seed, workers;

  void start(run_context& run) const {
    run.set_seed(seed);
    run.set_n_workers(workers);
  }
};

TEST_F(run_contexts, side_by_side_on_any_number_of_workers_give_what_each_gives_alone_on_one) {
  const std::vector<seeded> trainings{{3, 7}, {4, 1}, {5, 2}};
  std::vector<std::string> alone, together(trainings.size());
  for (const seeded& each : trainings) {
    run_context run;
    seeded{each.seed, 1}.start(run);
    alone.push_back(train(run));
    EXPECT_EQ(run.get_done(run_context::unit::rows), k_rows);
    EXPECT_EQ(run.get_done(run_context::unit::trees), 7 + 14 * 3 + 1);
  }
  EXPECT_NE(alone[0], alone[1]);
  EXPECT_NE(alone[1], alone[2]);

  orvik::set_seed(4);
  orvik::set_n_workers(3);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < trainings.size(); ++i) {
    threads.emplace_back([&, i] {
      run_context run;
      trainings[i].start(run);
      together[i] = train(run);
    });
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(together, alone);
  orvik::set_n_workers(0);
}

TEST_F(run_contexts, that_are_cancelled_end_soon_and_leave_no_half_results) {
  for (const unsigned long workers : {1UL, 3UL}) {
    run_context run;
    const seeded start{6, workers};
    start.start(run);
    const std::unique_ptr<table> t = load(run);
    const std::unique_ptr<dtree> model = forest(run, 1000000);  // hours
    std::string error;
    std::thread training([&] {
      try {
        model->build(t.get(), nullptr);
      } catch (const std::runtime_error& failure) {
        error = failure.what();
      }
    });
    while (run.get_done(run_context::unit::trees) < 3) std::this_thread::yield();
    run.cancel();
    training.join();
    EXPECT_EQ(error, k_cancelled);
    EXPECT_EQ(model->size(), 0);

    run.resume();
    start.start(run);
    run_context fresh;
    start.start(fresh);
    EXPECT_EQ(train(run), train(fresh));
  }
}

TEST_F(run_contexts, that_are_cancelled_begin_nothing) {
  run_context run;
  seeded{7, 2}.start(run);
  const std::unique_ptr<table> t = load(run), empty = std::make_unique<table>("t");
  empty->use(run);
  empty->load_meta_data(names, ',', "?");
  const std::unique_ptr<dtree> grown = forest(run, 5), single(grown->clone(true));
  grown->build(t.get(), nullptr);
  single->set_forest(false, false, 1);
  single->set_fs(orvik::model::FORWARD, 0);
  std::ostringstream out;
  unsigned long rows = 0;
  const std::vector<std::function<void()>> steps{
      [&] { empty->load_data(data, ',', 2, nullptr); },
      [&] { delete grown->test(t.get(), nullptr, nullptr); },
      [&] { delete grown->test(data, ',', "?"); },
      [&] { grown->score(data, ',', out, rows, ','); },
      [&] { grown->get_oob_error(t.get()); },
      [&] { grown->get_importance(t.get()); },
      [&] { grown->prune(t.get(), nullptr); },
      [&] { single->feature_selection(t.get(), nullptr, nullptr); },
      [&] { single->build(t.get(), nullptr); },
      [&] { grown->build(t.get(), nullptr); },
  };
  run.cancel();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    EXPECT_THAT(steps[i], testing::ThrowsMessage<std::runtime_error>(k_cancelled)) << i;
  }
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(empty->get_no_rows(), 0);
  EXPECT_EQ(grown->size(), 0);
  EXPECT_EQ(single->nfeatures(), 0) << "no search was finished";
  EXPECT_EQ(grown->get_training_cm(), nullptr);

  run.resume();
  grown->build(t.get(), nullptr);
  for (const auto& step : steps) EXPECT_NO_THROW(step());
  EXPECT_EQ(empty->get_no_rows(), k_rows);
  EXPECT_GT(grown->size(), 5);
}

}  // namespace
