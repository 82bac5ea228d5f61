// Loads a table, estimates the error of trees on it by cross-validation, grows one on all rows,
// prints it and asks it about a new row.
// Usage: golf STEM   (STEM.names and STEM.data: a table with the columns of examples/golf)

#include <orvik/orvik.h>

#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;  // what the library returns is the caller's

/// Mean misclassification of `folds` models, each tested on the cases it was not grown on.
double cross_validated_error(const dtree& settings, table& t, unsigned long folds) {
  const subset_ptr all(t.get_wsubset_all());
  all->stratify_cross(folds, &t, /*random=*/true);
  double sum = 0;
  for (unsigned long i = 0; i < folds; ++i) {
    const unsigned long begin = all->fold_begin(folds, i);
    const unsigned long count = all->fold_end(folds, i) - begin;
    const subset_ptr test(all->select(begin, count, /*complement=*/false));
    const subset_ptr train(all->select(begin, count, /*complement=*/true));
    const std::unique_ptr<dtree> model(settings.clone(/*parameters_only=*/true));
    model->build(&t, train.get());
    sum += std::unique_ptr<conf_matrix>(model->test(&t, test.get(), nullptr))->err_misc();
  }
  return sum / static_cast<double>(folds);
}

void run(const std::string& stem) {
  orvik::set_seed(1);  // the folds are drawn; with a seed they are the same ones in every run
  table t("golf");
  t.load_meta_data(stem + ".names", ',', "?");
  t.load_data(stem + ".data", ',', orvik::get_n_workers(), nullptr);
  t.rescale_weights();
  std::cout << "Orvik " << orvik::get_version() << ": " << t.get_no_rows() << " rows, "
            << t.get_no_predictive() << " attributes\n";

  dtree tree("golf");
  tree.set_min_obj(1);
  std::cout << "cross-validated error: " << cross_validated_error(tree, t, 7) << '\n';

  const subset_ptr all(t.get_wsubset_all());
  tree.build(&t, all.get());
  tree.toTEXT(std::cout);
  const std::vector<std::string> row{"rainy", "66", "77", "?"};
  double confidence = 0;
  std::vector<double> shares;
  const std::string play = tree.predict(row, 1, confidence, shares);
  std::cout << "a rainy day, wind unknown: " << play << " (" << confidence << ")\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "Usage: golf STEM\n";
    return 2;
  }
  try {
    run(argv[1]);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
