/// The record of all run settings and its parser, the only reader of the command line.
/// The record is filled once, before anything else, and read-only afterwards.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvik/growth.h"
#include "orvik/probabilities.h"
#include "orvik/reason_form.h"
#include "orvik/strategies.h"

namespace orvcmd {

/// The most trees, folds, repetitions and workers that can be asked for, and the greatest depth.
inline constexpr std::int64_t k_largest_count = 1'000'000;
inline constexpr std::int64_t k_largest_depth = 1'000'000'000;

/// All settings of one run. File names are empty when not given; the choices kept as integers are
/// the enumerations of orvik/enums.h.
class options {
 public:
  /// Every member at its default; n_workers takes the library's current number of workers.
  options();

  /// Parses a command line (argv[0] is the program). An error in it, "--help" or no argument at all
  /// prints its text on standard output and ends the process.
  /// Throws std::out_of_range for an empty separator.
  options(int argc, char** argv);

  /// As the constructor, but throws the end of the process as an early_end. The words of `argv`
  /// must outlive the record: as2018_arg points to one.
  static options parse(int argc, const char* const* argv);

  /// Prints the usage text on standard output.
  static void usage();

  /// Prints that `option` lacks an argument and ends the process with status 255, always.
  [[noreturn]] static void msg(bool, const std::string& option);

  std::string metadata_file;
  std::string data_file;
  std::string test_file;
  std::string score_data_file;
  std::string score_output_file;
  std::string reasons_file;
  orvik::reason_form reasons;
  char separator = ',';
  std::string binary_data_input;
  std::string tree_binary_input;
  std::string binary_data_output;
  std::string mapped_data_output;
  std::string tree_binary_output;
  std::string text_file;
  std::string xml_file;
  std::string dot_file;
  std::string pmml_file;
  std::string json_file;
  std::string log_file;  ///< appended to; given, it wins over log_stdout
  bool text_stdout = false;
  bool log_stdout = true;
  bool xml_stdout = false;
  bool dot_stdout = false;
  std::int32_t ordinal_errors = 0;  ///< 1: report the ordinal error measures too
  std::int32_t split_type = orvik::model::GAIN_RATIO;
  double confidence_level = 0.25;     ///< in (0,1]
  double min_weighted_objects = 2.0;  ///< above 0
  std::int64_t max_depth = -1;        ///< -1: no limit
  std::int64_t reserved_limit = 0;    ///< of the second experiment mode, which resets it
  double holdout_random = 0;          ///< this and the three below: training part, 0 = no hold-out
  double holdout_first = 0;
  double holdout_stratified_random = 0;
  double holdout_stratified_deterministic = 0;
  std::int64_t cv_folds = 0;  ///< 0: no cross-validation
  std::int64_t cv_repetitions = 1;
  bool rescale = true;        ///< rescale the case weights after loading
  bool own_unknowns = false;  ///< unknown cells of discrete attributes are a value
  bool forest = false;        ///< never together with bagging
  bool bagging = false;
  std::int64_t n_trees = 1;
  bool boosting = false;  ///< neither of them
  orvik::growth growth;   ///< of the nodes, for single trees too
  orvik::resampling draws;
  orvik::combination answer = orvik::combination::votes;
  std::int32_t pruning = orvik::model::EBP;
  const orvik::model::strategy_row& strategy() const {
    return orvik::model::row_of(static_cast<unsigned int>(pruning));
  }
  bool columns = false;     ///< processes of a run grow single trees together
  std::uint64_t n_workers;  ///< 0 is replaced by the library's number
  std::string trace_file;
  std::uint64_t trace_max_workers = 0;  ///< 0: no scalability trace asked for
  std::uint64_t trace_min_workers = 0;  ///< 0: no scalability trace asked for
  bool sdm2012 = false;
  std::int32_t exp_id = 0;
  std::int32_t feature_selection = orvik::model::NO_SELECTION;
  double as_delta = 1.0;  ///< -1 or at least 0
  double fs_limit = 0;    ///< seconds; 0: a search for attributes takes its time
  bool as2018 = false;
  const char* as2018_arg = nullptr;  ///< borrowed from the command line
  double as2018_x = 0;
  double as2018_y = 0;
  bool unseen = false;        ///< rows to test or score: values training lacked count as unknown
  std::string costs_file;     ///< what errors cost
  bool weighs_costs = false;  ///< they weigh the cases instead of deciding
  std::string class_weights;  ///< "balanced" or a file
  bool laplace = false;       ///< the shares of leaves lean on those of the training cases
  bool importance = false;    ///< the text report shows what the model owes to each attribute
  bool metrics = false;       ///< the text report has figures by class and of the shares
  std::string metrics_file;   ///< the same as JSON
  std::string resume_file;    ///< keeps finished tasks
  /// Whether an output has the matrix of the training rows: to predict them all by a forest takes a
  /// good part of growing it.
  bool shows_training_matrix() const {
    return others_show_matrix || text_stdout || xml_stdout || !text_file.empty() ||
           !xml_file.empty() || !tree_binary_output.empty();
  }
  bool others_show_matrix = false;  ///< other processes, which make it together with this one
  bool judges() const { return metrics || !metrics_file.empty(); }
  bool judges_tests() const { return judges() || sets.wanted(); }
  bool probabilities = false;  ///< scores show the share of every class
  orvik::calibration calibration = orvik::calibration::none;  ///< plain where sets are asked for
  std::string calibration_rows;                               ///< a file of rows to calibrate on
  orvik::set_request sets;              ///< scores and tests have sets of classes
  std::optional<unsigned long> seed;    ///< not set: every run draws its own random numbers
  std::vector<std::string_view> given;  ///< the options of the command line, as they came
  std::string task_words;               ///< those with their arguments that tasks hang on

  bool is_given(std::string_view option) const;
  bool is_ensemble() const { return forest || bagging || boosting; }
};

/// @return the usage text, last newline included, under the library's `banner`; `n_workers` is
/// the default shown for -tt.
std::string usage_text(std::string_view banner, unsigned long n_workers);

/// What "--help" by itself shows below the usage text: every option, in groups.
std::string_view all_options_text();

/// Every option that a command line may hold, in the order in which its words are compared.
std::vector<std::string_view> option_names();

}  // namespace orvcmd
