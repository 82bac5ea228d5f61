// Shares of the classes that mean what they say, and sets of classes with a promise.
// docs/probabilities.md has the formulas and whose they are.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "orvik/codes.h"
#include "orvik/export.h"
#include "orvik/metrics.h"

namespace orvik {

/// What becomes of the shares of the classes that a model gives. The maps are fitted on rows that
/// the trees were not grown on; of two classes there is one, of more one for each class against the
/// others, and what they give is scaled to a sum of 1.
enum class calibration : unsigned char {
  none,      ///< nothing, and no sets can be asked for
  plain,     ///< nothing, but what sets need is kept
  isotonic,  ///< a map that never falls, linear between its knots (Zadrozny and Elkan 2002)
  platt      ///< 1 / (1 + exp(a share + b)) (Platt 1999)
};

/// Of "plain", "isotonic" or "platt"; nothing for another word.
ORVIK_EXPORT std::optional<calibration> calibration_of(std::string_view word);
ORVIK_EXPORT const char* name_of(calibration how);

/// A function of a share in [0, 1], into [0, 1].
struct share_map {
  std::vector<double> x, y;  ///< isotonic: knots, at least one; x ascends, y does not fall
  double a = 0, b = 0;       ///< Platt: 1 / (1 + exp(a share + b)), where there are no knots

  ORVIK_EXPORT double operator()(double share) const;
  bool operator==(const share_map& other) const {
    return x == other.x && y == other.y && a == other.a && b == other.b;
  }
};

/// Sets of classes that have the true one in them for so many of 100 exchangeable rows (Sadinle,
/// Lei and Wasserman 2019).
struct set_request {
  double percent = 0;     ///< in (0, 100); 0: no sets
  bool by_class = false;  ///< the promise holds for the rows of each class (Vovk 2013)

  bool wanted() const { return percent > 0; }
  bool is_valid() const { return percent > 0 && percent < 100; }
};

/// What sets were worth, of rows or of those of one class. Rows count by their weights.
struct set_figures {
  std::string name;  ///< of the class; empty for all rows
  double weight = 0;
  double covered = 0;  ///< part of the rows whose class is in their set
  double size = 0;     ///< mean number of classes in a set
  double empty = 0;    ///< part of the rows whose set is empty,
  double single = 0;   ///< and whose set has one class
};

/// Of rows of known class: all of them first, then the classes that have any, by code. `limits` are
/// those of dtree::get_set_limits(). Rows of a class that the model does not have are not covered.
ORVIK_EXPORT std::vector<set_figures> set_figures_of(const judged_rows& rows,
                                                     const std::vector<double>& limits);
/// A line for all rows and one for each class; uses none of the stream's settings.
ORVIK_EXPORT void write_set_figures(const std::vector<set_figures>& all, const set_request& asked,
                                    std::ostream& out);

/// The classes of a set as one text: their names by code with "|" between them; a "|" or "\" of a
/// name stands behind a "\". Empty for the empty set. `shares` by class code.
ORVIK_EXPORT std::string set_text(const std::vector<std::string>& classes, const double* shares,
                                  const std::vector<double>& limits);

}  // namespace orvik
