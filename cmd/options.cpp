// The parser is one table: a row per option, in the order in which a word is compared, with the
// function that takes the option's arguments and fills the record. Most rows are instances of a
// few templates; an option with a range of its own has a small function.

#include "options.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <span>

#include "calibrate.h"
#include "cost_options.h"
#include "ensemble_options.h"
#include "errors.h"
#include "orvik/orvik.h"
#include "zel/text/decimal.h"

namespace orvcmd {

namespace {

namespace model = orvik::model;

constexpr char k_argument_expected[] = ": argument expected";
constexpr char k_unknown_option[] = "Unknown option: ";
constexpr char k_confidence_range[] = "Confidence level must be in (0,1]";
constexpr char k_min_objects_range[] = "MinWeightedObjects must be > 0";
constexpr char k_depth_range[] = "MaxDepth must be >= 0";
constexpr char k_cv_repetitions_range[] = "Cross validation <r> must be > 0";
constexpr char k_cv_folds_range[] = "Cross validation <n> must be > 0";
constexpr char k_trees_range[] = "No trees must be at least 1";
constexpr char k_holdout_range[] = "Holdout must be in (0,100)";
constexpr char k_delta_range[] = "<delta> must >= 0";
constexpr char k_workers_range[] = "in -tt, <n> must be in >= 0";
constexpr char k_limit_range[] = "in -fslimit, <seconds> must be a number > 0 and <= 1000000000";
constexpr double k_longest_search = 1e9;  // seconds
constexpr char k_mtry_range[] =
    "in -mtry, <attributes> must be a whole number > 0, a share such as 30%, sqrt, log2 or all";
constexpr char k_bag_range[] = "in -bag, <share> must be in (0,1000] percent";
constexpr double k_largest_bag = 1000;
constexpr char k_calibrations[] = "in -calibrate, <how> must be isotonic, platt or plain";
constexpr char k_sets_range[] = "in -sets, <percent> must be a number > 0 and < 100";
constexpr char k_top_range[] = "in -shaptop, <n> must be > 0";
constexpr char k_seed_range[] = "in -seed, <n> must be a whole number from 0 to ";

early_end argument_expected(std::string_view option) {
  return failure(std::string(option) + k_argument_expected);
}

std::string usage_now() { return usage_text(orvik::get_copyright(), orvik::get_n_workers()); }

void require(bool holds, std::string_view message) {
  if (!holds) throw failure(message);
}

/// The words of a command line not read yet, and the option whose arguments are being read.
class arguments {
 public:
  explicit arguments(std::span<const char* const> words) : words_(words) {}

  bool done() const { return words_.empty(); }
  std::span<const char* const> left() const { return words_; }

  const char* next_option() {
    option_ = next_word();
    return option_;
  }

  /// The next argument; a missing one is reported under the name of the option, or `reported_as`.
  const char* next() { return next(option_); }
  const char* next(const char* reported_as) {
    if (done()) throw argument_expected(reported_as);
    return next_word();
  }

  // Deliberate: what follows the number is ignored, and a word that is no number is 0. A number
  // too large for its type becomes the largest one, which the ranges then refuse.
  long next_integer() { return std::strtol(next(), nullptr, 10); }
  double next_real() { return std::strtod(next(), nullptr); }

  /// Throws, naming the option and its `argument`, unless the number is in a range.
  void require_at_most(long number, long most, const char* argument) const {
    if (number > most) refuse(argument, "at most " + std::to_string(most));
  }
  void require_finite(double number, const char* argument) const {
    if (!std::isfinite(number)) refuse(argument, "finite");
  }
  [[noreturn]] void refuse(const char* argument, const std::string& range) const {
    throw failure("in " + std::string(option_) + ", <" + argument + "> must be " + range);
  }

 private:
  const char* next_word() {
    const char* word = words_.front();
    words_ = words_.subspan(1);
    return word;
  }

  std::span<const char* const> words_;
  const char* option_ = "";
};

template <auto Member, auto Value>
void set_to(options& opt, arguments&) {
  opt.*Member = Value;
}

template <auto Member>
void set_file(options& opt, arguments& args) {
  opt.*Member = args.next();
}

/// A percentage, kept as a fraction. NaN fails the comparison, here and below.
template <auto Member>
void set_holdout(options& opt, arguments& args) {
  const double fraction = args.next_real() / 100;
  require(fraction > 0 && fraction < 1, k_holdout_range);
  opt.*Member = fraction;
}

enum class kind : unsigned char { bagging, forest, boosting };

template <kind Kind>
void set_ensemble(options& opt, arguments& args) {
  const long n = args.next_integer();
  require(n >= 1, k_trees_range);
  args.require_at_most(n, k_largest_count, "n");
  opt.forest = Kind == kind::forest;
  opt.bagging = Kind == kind::bagging;
  opt.boosting = Kind == kind::boosting;
  opt.n_trees = n;
}

/// "<n>", "<p>%", "sqrt", "log2" or "all"; nothing may follow.
void set_drawn_attributes(options& opt, arguments& args) {
  using draw = orvik::attribute_draw;
  const std::string word = args.next();
  if (word == "sqrt")
    opt.growth.attributes = {draw::SQUARE_ROOT, 0};
  else if (word == "log2")
    opt.growth.attributes = {draw::LOGARITHM, 0};
  else if (word == "all")
    opt.growth.attributes = {draw::ALL, 0};
  else {
    const bool percent = word.ends_with('%');
    const auto number =
        zel::text::parse_decimal<double>(std::string_view(word).substr(0, word.size() - percent));
    const bool fits =
        number && *number > 0 && (percent ? *number <= 100 : *number == std::floor(*number));
    require(fits, k_mtry_range);
    opt.growth.attributes = {percent ? draw::PERCENT : draw::COUNT, *number};
  }
}

void set_drawn_share(options& opt, arguments& args) {
  std::string word = args.next();
  if (word.ends_with('%')) word.pop_back();
  const auto number = zel::text::parse_decimal<double>(word);
  require(number && *number > 0 && *number <= k_largest_bag, k_bag_range);
  opt.draws.share = *number / 100;
}

template <auto Member>
void set_growth(options& opt, arguments&) {
  opt.growth.*Member = true;
}
template <auto Member, bool Value>
void set_draws(options& opt, arguments&) {
  opt.draws.*Member = Value;
}

void set_calibration(options& opt, arguments& args) {
  const std::string_view word = args.next();
  const auto how = orvik::calibration_of(word);
  require(how.has_value(), k_calibrations);
  opt.calibration = *how;
}

/// All of the word must be a number.
void set_sets(options& opt, arguments& args) {
  const auto percent = zel::text::parse_decimal<double>(args.next());
  opt.sets.percent = percent.value_or(0);
  require(opt.sets.is_valid(), k_sets_range);
}

void set_by_class(options& opt, arguments&) { opt.sets.by_class = true; }

void show_usage(options&, arguments&) { throw early_end{0, usage_now()}; }

void set_training_files(options& opt, arguments& args) {
  const std::string stem = args.next();
  opt.metadata_file = stem + ".names";
  opt.data_file = stem + ".data";
}

void set_text_file(options& opt, arguments& args) {
  opt.text_file = args.next("-r");  // Deliberate: published under this name
}

void set_separator(options& opt, arguments& args) {
  opt.separator = std::string(args.next()).at(0);  // an empty word is out of range
}

void set_confidence_level(options& opt, arguments& args) {
  opt.confidence_level = args.next_real();
  require(opt.confidence_level > 0 && opt.confidence_level <= 1, k_confidence_range);
}

void set_min_weighted_objects(options& opt, arguments& args) {
  opt.min_weighted_objects = args.next_real();
  require(opt.min_weighted_objects > 0, k_min_objects_range);
  args.require_finite(opt.min_weighted_objects, "num");
}

void set_max_depth(options& opt, arguments& args) {
  opt.max_depth = args.next_integer();
  require(opt.max_depth >= 0, k_depth_range);
  args.require_at_most(opt.max_depth, k_largest_depth, "num");
}

void set_cross_validation(options& opt, arguments& args) {
  opt.cv_repetitions = args.next_integer();
  require(opt.cv_repetitions >= 1, k_cv_repetitions_range);  // before the folds are looked for
  args.require_at_most(opt.cv_repetitions, k_largest_count, "r");
  opt.cv_folds = args.next_integer();
  require(opt.cv_folds >= 1, k_cv_folds_range);
  args.require_at_most(opt.cv_folds, k_largest_count, "n");
}

std::int32_t next_experiment_id(arguments& args) {
  using limits = std::numeric_limits<std::int32_t>;
  const long id = args.next_integer();
  if (id < limits::min() || id > limits::max()) {
    args.refuse("n",
                "from " + std::to_string(limits::min()) + " to " + std::to_string(limits::max()));
  }
  return static_cast<std::int32_t>(id);
}

void set_sdm2012(options& opt, arguments& args) {
  opt.exp_id = next_experiment_id(args);
  opt.sdm2012 = true;
}

void set_as2018(options& opt, arguments& args) {
  opt.as2018_arg = args.next();
  opt.as2018_x = args.next_real();
  opt.as2018_y = args.next_real();
  opt.exp_id = next_experiment_id(args);
  opt.as2018 = true;
}

void set_acceptable_subset(options& opt, arguments& args) {
  opt.as_delta = args.next_real();
  require(opt.as_delta == -1 || opt.as_delta >= 0, k_delta_range);
  args.require_finite(opt.as_delta, "b");
  opt.feature_selection = model::ACCEPTABLE_SUBSET;
}

/// Unlike other numbers all of the word must be one.
void set_selection_limit(options& opt, arguments& args) {
  const char* const word = args.next();
  char* end = nullptr;
  opt.fs_limit = std::strtod(word, &end);
  const bool clean = end != word && *end == '\0';
  require(clean && opt.fs_limit > 0 && opt.fs_limit <= k_longest_search, k_limit_range);
}

std::uint64_t workers_or_default(long n) {
  return n == 0 ? orvik::get_n_workers() : static_cast<std::uint64_t>(n);
}

void set_workers(options& opt, arguments& args) {
  const long n = args.next_integer();
  require(n >= 0, k_workers_range);
  args.require_at_most(n, k_largest_count, "n");
  opt.n_workers = workers_or_default(n);
}

void set_trace(options& opt, arguments& args) {
  const long from = args.next_integer();
  const long to = args.next_integer();
  opt.trace_file = args.next();
  if (from < 0 || to < 0) throw early_end{k_failure, ""};  // Deliberate: without a message
  args.require_at_most(from, k_largest_count, "t");
  args.require_at_most(to, k_largest_count, "w");
  opt.trace_min_workers = from == 0 ? 1 : static_cast<std::uint64_t>(from);
  opt.trace_max_workers = workers_or_default(to);
  opt.n_workers = 1;
}

void set_reasons_by_name(options& opt, arguments& args) {
  const long n = args.next_integer();
  require(n >= 1, k_top_range);
  args.require_at_most(n, k_largest_count, "n");
  opt.reasons.most = static_cast<unsigned long>(n);
}
void set_reasons_of_predicted(options& opt, arguments&) { opt.reasons.predicted_only = true; }

void set_seed(options& opt, arguments& args) {
  opt.seed = zel::text::parse_whole(args.next());
  require(opt.seed.has_value(),
          k_seed_range + std::to_string(std::numeric_limits<unsigned long>::max()));
}

struct option_row {
  std::string_view name;
  void (*set)(options&, arguments&);
};

constexpr option_row k_options[] = {
    {"--help", show_usage},
    {"-f", set_training_files},
    {"-fm", set_file<&options::metadata_file>},
    {"-fd", set_file<&options::data_file>},
    {"-ft", set_file<&options::test_file>},
    {"-fs", set_file<&options::score_data_file>},
    {"-bd", set_file<&options::binary_data_input>},
    {"-sep", set_separator},
    {"-bt", set_file<&options::tree_binary_input>},
    {"-c", set_confidence_level},
    {"-m", set_min_weighted_objects},
    {"-depth", set_max_depth},
    {"-gain", set_to<&options::split_type, model::INFORMATION_GAIN>},
    {"-norescale", set_to<&options::rescale, false>},
    {"-ownunk", set_to<&options::own_unknowns, true>},
    {"-grpure", set_to<&options::split_type, model::PURE_GAIN_RATIO>},
    {"-np", set_to<&options::pruning, model::PRE_PRUNING_ONLY>},
    {"-npp", set_to<&options::pruning, model::NO_PRUNING>},
    {"-cv", set_cross_validation},
    {"-ba", set_ensemble<kind::bagging>},
    {"-fo", set_ensemble<kind::forest>},
    {"-rf", set_ensemble<kind::bagging>},
    {"-bo", set_ensemble<kind::boosting>},
    {"-mtry", set_drawn_attributes},
    {"-free", set_growth<&orvik::growth::free>},
    {"-binary", set_growth<&orvik::growth::one_value>},
    {"-extra", set_growth<&orvik::growth::random_cuts>},
    {"-soft", set_to<&options::answer, orvik::combination::shares>},
    {"-bag", set_drawn_share},
    {"-noreplace", set_draws<&orvik::resampling::replace, false>},
    {"-balance", set_draws<&orvik::resampling::balanced, true>},
    {"-h", set_holdout<&options::holdout_random>},
    {"-hf", set_holdout<&options::holdout_first>},
    {"-hd", set_holdout<&options::holdout_stratified_deterministic>},
    {"-hs", set_holdout<&options::holdout_stratified_random>},
    {"-ebp", set_to<&options::pruning, model::EBP>},
    {"-ebpg", set_to<&options::pruning, model::EBPG>},
    {"-ebpa", set_to<&options::pruning, model::EBPA>},
    {"-pep", set_to<&options::pruning, model::PEP>},
    {"-pepg", set_to<&options::pruning, model::PEPG>},
    {"-pepa", set_to<&options::pruning, model::PEPA>},
    {"-rep", set_to<&options::pruning, model::REP>},
    {"-repg", set_to<&options::pruning, model::REPG>},
    {"-repa", set_to<&options::pruning, model::REPA>},
    {"-mep", set_to<&options::pruning, model::MEP>},
    {"-mepg", set_to<&options::pruning, model::MEPG>},
    {"-mepa", set_to<&options::pruning, model::MEPA>},
    {"-sdm2012", set_sdm2012},
    {"-as2018", set_as2018},
    {"-sfs", set_to<&options::feature_selection, model::FORWARD>},
    {"-sbe", set_to<&options::feature_selection, model::BACKWARD>},
    {"-dtsbe", set_to<&options::feature_selection, model::OPTIMISED_BACKWARD>},
    {"-as", set_acceptable_subset},
    {"-fslimit", set_selection_limit},
    {"-db", set_file<&options::binary_data_output>},
    {"-dbm", set_file<&options::mapped_data_output>},
    {"-tb", set_file<&options::tree_binary_output>},
    {"-l", set_file<&options::log_file>},
    {"-t", set_text_file},
    {"-x", set_file<&options::xml_file>},
    {"-d", set_file<&options::dot_file>},
    {"-pmml", set_file<&options::pmml_file>},
    {"-json", set_file<&options::json_file>},
    {"-s", set_file<&options::score_output_file>},
    {"-oerr", set_to<&options::ordinal_errors, 1>},
    {"-lstd", set_to<&options::log_stdout, true>},
    {"-nl", set_to<&options::log_stdout, false>},
    {"-tstd", set_to<&options::text_stdout, true>},
    {"-xstd", set_to<&options::xml_stdout, true>},
    {"-dstd", set_to<&options::dot_stdout, true>},
    {"-tt", set_workers},
    {"-tti", set_trace},
    {"-columns", set_to<&options::columns, true>},
    {"-seed", set_seed},
    {"-resume", set_file<&options::resume_file>},
    {"-unseen", set_to<&options::unseen, true>},
    {"-imp", set_to<&options::importance, true>},
    {"-costs", set_file<&options::costs_file>},
    {"-costw", set_to<&options::weighs_costs, true>},
    {"-cw", set_file<&options::class_weights>},
    {"-laplace", set_to<&options::laplace, true>},
    {"-prob", set_to<&options::probabilities, true>},
    {"-calibrate", set_calibration},
    {"-calrows", set_file<&options::calibration_rows>},
    {"-sets", set_sets},
    {"-byclass", set_by_class},
    {"-metrics", set_to<&options::metrics, true>},
    {"-mjson", set_file<&options::metrics_file>},
    {"-shap", set_file<&options::reasons_file>},
    {"-shappred", set_reasons_of_predicted},
    {"-shaptop", set_reasons_by_name},
};

/// Options that say where things are and what is to be told of them: no tree hangs on them.
constexpr std::string_view k_beside_tasks[] = {
    "-f",     "-fm",   "-fd",       "-bd",      "-ft",    "-fs",    "-sep",  "-db",     "-tb",
    "-l",     "-t",    "-x",        "-d",       "-pmml",  "-s",     "-json", "-oerr",   "-lstd",
    "-nl",    "-tstd", "-xstd",     "-dstd",    "-tt",    "-imp",   "-prob", "-unseen", "-metrics",
    "-mjson", "-shap", "-shappred", "-shaptop", "-costs", "-resume"};

void take_option(options& opt, arguments& args) {
  const std::span<const char* const> words = args.left();
  const std::string_view word = args.next_option();
  const auto row = std::ranges::find(k_options, word, &option_row::name);
  if (row == std::end(k_options)) throw failure(k_unknown_option + std::string(word));
  row->set(opt, args);
  opt.given.push_back(row->name);
  if (std::ranges::find(k_beside_tasks, word) != std::end(k_beside_tasks)) return;
  for (const char* each : words.first(words.size() - args.left().size())) {
    opt.task_words.append(each).append(1, '\0');
  }
}

options parse_or_end_process(int argc, char** argv) {
  try {
    return options::parse(argc, argv);
  } catch (const early_end& end) {
    end_process(end);
  }
}

}  // namespace

options::options() : n_workers(orvik::get_n_workers()) {}

options::options(int argc, char** argv) : options(parse_or_end_process(argc, argv)) {}

options options::parse(int argc, const char* const* argv) {
  if (argc <= 1) throw early_end{0, usage_now()};
  const bool asks_for_help = argc == 2 && std::string_view(argv[1]) == "--help";
  if (asks_for_help) throw early_end{0, usage_now() + std::string(all_options_text())};
  options opt;
  arguments args({argv + 1, static_cast<std::size_t>(argc) - 1});
  while (!args.done()) take_option(opt, args);
  settle_ensemble(opt);
  require_sense_of_costs(opt);
  settle_calibration(opt);
  return opt;
}

bool options::is_given(std::string_view option) const {
  return std::ranges::find(given, option) != given.end();
}

void options::usage() { std::cout << usage_now(); }

void options::msg(bool, const std::string& option) { end_process(argument_expected(option)); }

std::vector<std::string_view> option_names() {
  std::vector<std::string_view> names;
  for (const option_row& row : k_options) names.push_back(row.name);
  return names;
}

}  // namespace orvcmd
