#include "impls/evaluation/conf_matrix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using orvik::impls::conf_matrix;

namespace {

using rows = std::vector<std::vector<double>>;

conf_matrix matrix_of(const rows& cells) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < cells.size(); ++i) names.push_back("c" + std::to_string(i));
  conf_matrix m(names);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    for (std::size_t j = 0; j < cells.size(); ++j) m.add(i, j, cells[i][j]);
  }
  return m;
}

// Three known classes; the row sums are 4, 4, 3 and the column sums 5, 3, 3.
const rows k_known{{0, 0, 0, 0}, {0, 3, 1, 0}, {0, 1, 2, 1}, {0, 1, 0, 2}};
// The same with one case of unknown class and four predicted as unknown.
const rows k_unknown{{0, 1, 0, 0}, {0, 3, 1, 0}, {4, 1, 2, 1}, {0, 1, 0, 2}};
const rows k_perfect{{0, 0, 0, 0}, {0, 4, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 7}};
const rows k_reversed{{0, 0, 0}, {0, 0, 3}, {0, 5, 0}};
const rows k_untested{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
const double k_nan = std::nan("");

using measure = double (conf_matrix::*)() const;
struct figure {
  const char* name;
  measure of;
  rows cells;
  double expected;
};
class conf_matrix_figures : public testing::TestWithParam<figure> {};

TEST_P(conf_matrix_figures, agree_with_hand_worked_values) {
  const conf_matrix m = matrix_of(GetParam().cells);
  const double found = (m.*GetParam().of)();
  EXPECT_THAT(found, testing::NanSensitiveDoubleNear(GetParam().expected, 1e-12));
  EXPECT_FALSE(std::isnan(found) && std::signbit(found)) << "would be printed as -nan";
}

INSTANTIATE_TEST_SUITE_P(
    of, conf_matrix_figures,
    testing::Values(
        figure{"misc", &conf_matrix::err_misc, k_known, 4. / 11},
        figure{"misc_leaves_out_predicted_unknown", &conf_matrix::err_misc, k_unknown, 5. / 12},
        figure{"misc_perfect", &conf_matrix::err_misc, k_perfect, 0},
        figure{"misc_no_rows", &conf_matrix::err_misc, {}, k_nan},
        figure{"misc_untested", &conf_matrix::err_misc, k_untested, k_nan},
        figure{"majority_untested", &conf_matrix::err_misc_majority, k_untested, k_nan},
        figure{"rint_untested", &conf_matrix::err_rint, k_untested, k_nan},
        figure{"majority", &conf_matrix::err_misc_majority, k_known, 7. / 11},
        figure{"majority_of_all_weight", &conf_matrix::err_misc_majority, k_unknown, 8. / 16},
        figure{"mae", &conf_matrix::err_mae, k_known, 5. / 11},
        figure{"mae_unknown", &conf_matrix::err_mae, k_unknown, 14. / 16},
        figure{"mae_no_rows", &conf_matrix::err_mae, {}, k_nan},
        figure{"mae_untested", &conf_matrix::err_mae, k_untested, k_nan},
        figure{"mse", &conf_matrix::err_mse, k_known, 7. / 11},
        figure{"mse_unknown", &conf_matrix::err_mse, k_unknown, 24. / 16},
        figure{"mse_no_rows", &conf_matrix::err_mse, {}, 0},
        figure{"mse_untested", &conf_matrix::err_mse, k_untested, 0},
        figure{"maee", &conf_matrix::err_maee, k_known, 5. / 4},
        figure{"maee_unknown", &conf_matrix::err_maee, k_unknown, 14. / 9},
        figure{"maee_perfect", &conf_matrix::err_maee, k_perfect, k_nan},
        figure{"r", &conf_matrix::err_r, k_known, 42 / std::sqrt(76. * 84)},
        figure{"r_reversed", &conf_matrix::err_r, k_reversed, -1},
        figure{"r_no_rows", &conf_matrix::err_r, {}, k_nan},
        figure{"rint", &conf_matrix::err_rint, k_known, 110 / std::sqrt(70. * 71) - 1},
        figure{"rint_perfect", &conf_matrix::err_rint, k_perfect, 1},
        figure{"gamma", &conf_matrix::err_gamma, k_known, 19. / 29},
        figure{"gamma_perfect", &conf_matrix::err_gamma, k_perfect, 1},
        figure{"gamma_reversed", &conf_matrix::err_gamma, k_reversed, -1},
        figure{"gamma_no_rows", &conf_matrix::err_gamma, {}, k_nan}),
    [](const auto& row) { return row.param.name; });

// The pair sums as they are defined, cell by cell.
TEST(conf_matrix, pair_sums_agree_with_the_sums_over_all_pairs) {
  std::mt19937_64 draw(7);
  for (int round = 0; round < 20; ++round) {
    constexpr std::size_t n = 6;
    rows c(n, std::vector<double>(n));
    for (auto& row : c) {
      for (double& cell : row) cell = static_cast<double>(draw() % 9);
    }
    double concordant = 0, discordant = 0, pairs = 0, x = 0, y = 0;
    const conf_matrix m = matrix_of(c);
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) {
        if (i >= 1 && j >= i) x += m.cases_actual(i) * m.cases_actual(j);
        if (i >= 1 && j >= i) y += m.cases_predicted(i) * m.cases_predicted(j);
        for (std::size_t k = i; k < n; ++k) {
          for (std::size_t l = 0; l < n; ++l) {
            const double product = c[i][j] * c[k][l];
            if (k > i && l > j) concordant += product;
            if (k > i && l < j) discordant += product;
            if (i >= 1 && j >= 1 && l >= j) pairs += product;
          }
        }
      }
    }
    const double t = m.cases();
    EXPECT_DOUBLE_EQ(m.err_gamma(), (concordant - discordant) / (concordant + discordant));
    EXPECT_NEAR(m.err_rint(), 2 * (pairs - t) / (std::sqrt(x - t) * std::sqrt(y - t)) - 1, 1e-12);
  }
}

// Weights of 6 classes set far apart among 65,535: figures scale with the distance, and a matrix
// that kept all cells would take 34 GB.
TEST(conf_matrix, keeps_the_cells_that_occur) {
  constexpr unsigned long k_apart = 13106;
  std::mt19937_64 draw(3);
  conf_matrix few(std::vector<std::string>(6)), many(std::vector<std::string>(65535));
  for (int i = 0; i < 200; ++i) {
    const unsigned long actual = draw() % 6, predicted = draw() % 6;
    few.add(actual, predicted, 0.1);
    many.add(actual * k_apart, predicted * k_apart, 0.1);
  }
  const std::unique_ptr<conf_matrix> copy(many.clone());
  copy->add(&many);
  EXPECT_EQ(many.err_misc(), few.err_misc());
  EXPECT_EQ(many.cases_actual(2 * k_apart), few.cases_actual(2));
  EXPECT_EQ(many.get_majority_class(), few.get_majority_class() * k_apart);
  EXPECT_EQ(copy->get_element(k_apart, 3 * k_apart), 2 * few.get_element(1, 3));
  EXPECT_EQ(many.get_element(1, 1), 0);
  EXPECT_NEAR(many.err_mse(), few.err_mse() * k_apart * k_apart, 1e-3);
  EXPECT_NEAR(many.err_r(), few.err_r(), 1e-12);
  EXPECT_EQ(many.err_gamma(), few.err_gamma());
}

TEST(conf_matrix, the_constant_is_chosen_on_the_other_matrix) {
  const conf_matrix m = matrix_of(k_unknown);
  // Row weights 5, 0, 4: the absolute error is least at code 1, the squared error at code 2.
  const conf_matrix skewed = matrix_of({{0, 0, 0, 0}, {0, 5, 0, 0}, {0, 0, 0, 0}, {0, 4, 0, 0}});
  EXPECT_DOUBLE_EQ(m.err_mae_majority(&skewed), m.err_mae(1));
  EXPECT_DOUBLE_EQ(m.err_mse_majority(&skewed), m.err_mse(2));
  // Equal errors at codes 1 and 2; and an unknown class that no heaviness makes a candidate.
  const conf_matrix tied = matrix_of({{0, 0, 0}, {0, 4, 0}, {0, 4, 0}});
  const conf_matrix unknown = matrix_of({{90, 0, 0}, {0, 4, 0}, {0, 5, 0}});
  EXPECT_DOUBLE_EQ(m.err_mae_majority(&tied), m.err_mae(1));
  EXPECT_DOUBLE_EQ(m.err_mse_majority(&unknown), m.err_mse(1));
  EXPECT_DOUBLE_EQ(m.err_misc_majority(&skewed), 1 - 4. / 16);
}

TEST(conf_matrix, refuses_codes_past_the_end_and_other_sizes) {
  conf_matrix m = matrix_of(k_untested);
  const conf_matrix larger = matrix_of(k_known);
  EXPECT_THROW(m.add(3, 0, 1), std::runtime_error);
  EXPECT_THROW(m.add(0, 3, 1), std::runtime_error);
  EXPECT_THROW(m.add(&larger), std::runtime_error);
  EXPECT_THROW(m.get_element(0, 3), std::runtime_error);
  EXPECT_THROW(m.cases_actual(3), std::runtime_error);
  EXPECT_THROW(m.cases_predicted(3), std::runtime_error);
  EXPECT_THROW(m.class_name(3), std::runtime_error);
  EXPECT_EQ(m.cases(), 0);
}

TEST(conf_matrix, of_no_class_is_written) {
  std::ostringstream xml;
  matrix_of({}).toXML(xml, "");
  EXPECT_NE(xml.str().find("<Array n=\"0\" type=\"string\">\n\n</Array>\n<Matrix>\n</Matrix>"),
            std::string::npos)
      << xml.str();
}

}  // namespace
