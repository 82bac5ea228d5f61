// What models say of rows.
#include <algorithm>
#include <stdexcept>

#include "models.h"
#include "trees.h"

namespace orvpython {

namespace {

using orvik::code_t;

constexpr char k_no_sets[] =
    "the model cannot give sets: fit it with calibrate, or call calibrate_on() first";
constexpr char k_cancelled[] = "cancelled";  // Python raises what the interrupt was

/// Rows that a model is asked about, and how many of their values training did not have.
class asked_rows {
 public:
  asked_rows(const py::list& columns, unsigned long n)
      : held_(columns, n), n_(n), unseen_(held_.cells.size()) {}

  const std::vector<orvik::cell_array>& cells() const { return held_.cells; }
  unsigned long width() const { return held_.cells.size(); }
  unsigned long size() const { return n_; }

  /// take(n, codes) for at most so many rows at a time, in order, until the run is cancelled.
  template <class Take>
  void for_each_block(const orvik::cell_predictor& by, const orvik::run_context& run,
                      unsigned long most, const Take& take) {
    std::vector<std::uint32_t> codes(std::min(n_, most) * width());
    for (unsigned long first = 0; first < n_; first += most) {
      if (run.is_cancelled()) throw std::runtime_error(k_cancelled);
      const unsigned long some = std::min(most, n_ - first);
      by.codes_of(held_.cells, first, some, codes.data(), unseen_);
      take(some, codes.data());
    }
  }

  /// take(codes) for every row, in order, until the run is cancelled.
  template <class Take>
  void for_each(const orvik::cell_predictor& by, const orvik::run_context& run, const Take& take) {
    for_each_block(by, run, 4096, [&](unsigned long some, const std::uint32_t* codes) {
      for (; some > 0; --some, codes += width()) {
        if (run.is_cancelled()) throw std::runtime_error(k_cancelled);
        take(codes);
      }
    });
  }

  /// Names of the columns, as bytes, with their numbers of such values.
  py::list unseen(const orvik::dtree& model) const {
    py::list all;
    for (unsigned long a = 0; a < unseen_.size(); ++a) {
      if (unseen_[a] == 0) continue;
      all.append(py::make_tuple(py::bytes(model.get_schema().attribute(a).name()), unseen_[a]));
    }
    return all;
  }

 private:
  held_columns held_;
  unsigned long n_;
  std::vector<unsigned long> unseen_;  // by attribute
};

std::vector<code_t> wide(const std::uint32_t* codes, unsigned long n) { return {codes, codes + n}; }

std::vector<tree_walker> walkers_of(const orvik::dtree& model) {
  std::vector<tree_walker> all;
  for (unsigned long i = 0; i < model.get_no_trees(); ++i) all.emplace_back(model.get_tree(i));
  return all;
}

/// Writes contributions by row, class code and attribute.
void explain_rows(const orvik::explainer& by, asked_rows& rows, const orvik::cell_predictor& coded,
                  const orvik::run_context& run, double* to) {
  constexpr unsigned long k_numbers = 1UL << 20;  // in memory beside the result
  const std::vector<unsigned long>& tested = by.attributes();
  const unsigned long width = rows.width(), k = by.base().size();
  const unsigned long most = std::max(k_numbers / std::max(width, k * tested.size()), 1024UL);
  std::vector<double> parts;
  rows.for_each_block(coded, run, most, [&](unsigned long some, const std::uint32_t* codes) {
    by.explain(wide(codes, some * width), some, parts);
    std::fill_n(to, some * k * width, 0.0);
    for (unsigned long i = 0; i < some * k; ++i, to += width) {
      for (std::size_t j = 0; j < tested.size(); ++j) {
        to[tested[j]] = parts[i * tested.size() + j];
      }
    }
  });
}

/// What a model says of rows of known class; without shares where they would be too many.
orvik::judged_rows judged(const orvik::dtree& model, asked_rows& rows,
                          const orvik::run_context& run, const std::vector<code_t>& classes,
                          const std::vector<double>& weights) {
  orvik::judged_rows all{model.class_values(), classes, {}, weights, {}};
  if (all.classes.size() > orvik::k_most_judged_classes) return all;
  const orvik::cell_predictor by(model);
  std::vector<double> shares, plain;
  rows.for_each_block(by, run, 4096, [&](unsigned long some, const std::uint32_t* codes) {
    for (const auto& p : by.predict_codes(wide(codes, some * rows.width()), some, shares, plain)) {
      all.predicted.push_back(p.class_code);
    }
    all.shares.insert(all.shares.end(), shares.begin(), shares.end());
  });
  return all;
}

/// Of a percentage in range.
std::vector<double> limits_of(const orvik::dtree& model, const orvik::set_request& asked) {
  try {
    return model.get_set_limits(asked);
  } catch (const std::runtime_error&) {
    throw std::runtime_error(k_no_sets);  // the library names the programs' options
  }
}

/// Names of columns, as bytes, with the numbers of their values that training did not have.
py::list told(const orvik::dtree::unseen_values& unseen) {
  py::list all;
  for (const auto& [name, count] : unseen) all.append(py::make_tuple(py::bytes(name), count));
  return all;
}

py::array_t<std::int64_t> array_of(const std::vector<std::int64_t>& values) {
  return py::array_t<std::int64_t>(static_cast<py::ssize_t>(values.size()), values.data());
}

}  // namespace

const orvik::cell_predictor& held_model::ready() const {
  const std::lock_guard lock(making_);
  if (!predictor_) predictor_ = std::make_unique<orvik::cell_predictor>(*model_);
  return *predictor_;
}

py::tuple held_model::predict(const py::list& columns, unsigned long n) const {
  const held_columns held(columns, n);
  py::array_t<double> shares({n, model_->get_schema().n_class_codes()});
  double* const to = shares.mutable_data();
  orvik::dtree::unseen_values unseen;
  ask(n, [&](const orvik::run_context& run) { ready().predict(held.cells, n, to, &unseen, run); });
  return py::make_tuple(shares, told(unseen));
}

py::tuple held_model::choose(const py::list& columns, unsigned long n,
                             const std::vector<code_t>& order) const {
  const held_columns held(columns, n);
  py::array_t<std::uint32_t> places(static_cast<py::ssize_t>(n));
  std::uint32_t* const to = places.mutable_data();
  orvik::dtree::unseen_values unseen;
  ask(n, [&](const orvik::run_context& run) {
    ready().choose(held.cells, n, order, to, &unseen, run);
  });
  return py::make_tuple(places, told(unseen));
}

py::tuple held_model::explain(const py::list& columns, unsigned long n) const {
  asked_rows rows(columns, n);
  const orvik::explainer* by = nullptr;
  alone([&] {
    if (!explainer_) explainer_ = std::make_unique<orvik::explainer>(*model_);
    by = explainer_.get();
  });
  const std::vector<double>& base = by->base();
  py::array_t<double> all({n, base.size(), rows.width()});
  double* const to = all.mutable_data();
  alone([&] { explain_rows(*by, rows, ready(), run_, to); });
  const py::array_t<double> bases(static_cast<py::ssize_t>(base.size()), base.data());
  return py::make_tuple(all, bases, rows.unseen(*model_));
}

py::tuple held_model::sets(const py::list& columns, unsigned long n, double percent,
                           bool by_class) const {
  asked_rows rows(columns, n);
  const std::vector<double> limits = limits_of(*model_, {percent, by_class});
  const unsigned long k = limits.size();
  py::array_t<bool> all({n, k});
  bool* to = all.mutable_data();
  alone([&] {
    std::vector<double> shares, plain;
    rows.for_each_block(ready(), run_, 4096, [&](unsigned long some, const std::uint32_t* codes) {
      ready().predict_codes(wide(codes, some * rows.width()), some, shares, plain);
      for (unsigned long i = 0; i < some * k; ++i) *to++ = plain[i] >= limits[i % k];
    });
  });
  return py::make_tuple(all, rows.unseen(*model_));
}

py::tuple held_model::apply(const py::list& columns, unsigned long n) const {
  asked_rows rows(columns, n);
  py::array_t<std::int64_t> leaves({n, model_->get_no_trees()});
  std::int64_t* to = leaves.mutable_data();
  ask(n, [&](const orvik::run_context& run) {
    const std::vector<tree_walker> trees = walkers_of(*model_);
    rows.for_each(ready(), run, [&](const std::uint32_t* codes) {
      for (const tree_walker& tree : trees) *to++ = tree.leaf_of(codes);
    });
  });
  return py::make_tuple(leaves, rows.unseen(*model_));
}

py::tuple held_model::decision_path(const py::list& columns, unsigned long n) const {
  asked_rows rows(columns, n);
  std::vector<std::int64_t> begins{0}, nodes, offsets{0};
  ask(n, [&](const orvik::run_context& run) {
    const std::vector<tree_walker> trees = walkers_of(*model_);
    for (const tree_walker& t : trees) {
      offsets.push_back(offsets.back() + static_cast<std::int64_t>(t.size()));
    }
    rows.for_each(ready(), run, [&](const std::uint32_t* codes) {
      for (std::size_t t = 0; t < trees.size(); ++t) {
        const std::size_t first = nodes.size();
        trees[t].path_of(codes, nodes);
        for (std::size_t i = first; i < nodes.size(); ++i) nodes[i] += offsets[t];
      }
      begins.push_back(static_cast<std::int64_t>(nodes.size()));
    });
  });
  return py::make_tuple(array_of(begins), array_of(nodes), array_of(offsets), rows.unseen(*model_));
}

py::tuple held_model::calibrated(const py::list& columns, const std::vector<code_t>& classes,
                                 const std::vector<double>& weights, const std::string& how) const {
  const auto asked = orvik::calibration_of(how);
  if (!asked) throw py::value_error("unknown name: " + how);
  if (weights.size() != classes.size()) throw py::value_error("weights of other rows");
  asked_rows rows(columns, classes.size());
  auto made = std::make_unique<held_model>(workers());
  alone([&] {
    made->take(model_->clone(/*parameters_only=*/false));
    made->model_->set_calibration(*asked);
    made->model_->calibrate(judged(*made->model_, rows, run_, classes, weights));
  });
  return py::make_tuple(py::cast(std::move(made)), rows.unseen(*model_));
}

}  // namespace orvpython
