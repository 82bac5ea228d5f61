// Two tables: the reasons why an option can be without effect, and for every option the reasons
// that count for it. An option is told of under the first one that holds.

#include "ignored.h"

#include <algorithm>
#include <string_view>

#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

bool is_experiment(const options& o) { return o.sdm2012 || o.as2018; }

bool scores(const options& o) {
  return !o.score_data_file.empty() && !o.score_output_file.empty() && !is_experiment(o);
}

bool explains(const options& o) { return !o.reasons_file.empty() && !is_experiment(o); }

bool tests_or_scores(const options& o) {
  return scores(o) || explains(o) || (!o.test_file.empty() && !is_experiment(o));
}

bool reads_text(const options& o) {
  return (o.tree_binary_input.empty() && o.binary_data_input.empty()) || tests_or_scores(o);
}

bool prunes_by_errors(const options& o) {
  return is_experiment(o) || o.strategy().prunes_by_confidence;
}

bool searches(const options& o) {
  return o.as2018 || o.feature_selection != static_cast<int>(orvik::model::NO_SELECTION);
}

enum reason : unsigned {
  SAVED_MODEL = 1U << 0U,
  SDM2012 = 1U << 1U,
  AS2018 = 1U << 2U,
  EXPERIMENT = SDM2012 | AS2018,
  BINARY_TABLE = 1U << 3U,
  NO_TEXT_FILE = 1U << 4U,
  STRATIFIED_HOLDOUT = 1U << 5U,
  FIXED_HOLDOUT = 1U << 6U,
  RANDOM_HOLDOUT = 1U << 7U,
  NO_ERROR_BASED = 1U << 8U,
  NO_SEARCH = 1U << 9U,
  NOTHING_READ = 1U << 10U,
  NOTHING_SCORED = 1U << 11U,
  NO_REPORT = 1U << 12U,
  REPORT_FILE = 1U << 13U,
  XML_FILE = 1U << 14U,
  DOT_FILE = 1U << 15U,
  NO_TEAM = 1U << 16U,
};

struct reason_row {
  reason bit;
  std::string_view text;
  bool (*holds)(const options&);
};

constexpr reason_row k_reasons[] = {
    {SAVED_MODEL, "a saved model is used", [](auto& o) { return !o.tree_binary_input.empty(); }},
    {SDM2012, "-sdm2012 is run", [](auto& o) { return o.sdm2012; }},
    {AS2018, "-as2018 is run", [](auto& o) { return o.as2018 && !o.sdm2012; }},
    {BINARY_TABLE, "-bd gives the table", [](auto& o) { return !o.binary_data_input.empty(); }},
    {NO_TEXT_FILE, "no text file is read", [](auto& o) { return !reads_text(o); }},
    {STRATIFIED_HOLDOUT, "-hs decides", [](auto& o) { return o.holdout_stratified_random > 0; }},
    {FIXED_HOLDOUT, "-hd decides", [](auto& o) { return o.holdout_stratified_deterministic > 0; }},
    {RANDOM_HOLDOUT, "-h decides", [](auto& o) { return o.holdout_random > 0; }},
    {NO_ERROR_BASED, "no error-based pruning", [](auto& o) { return !prunes_by_errors(o); }},
    {NO_SEARCH, "no search", [](auto& o) { return !searches(o); }},
    {NOTHING_READ, "nothing is tested or scored", [](auto& o) { return !tests_or_scores(o); }},
    {NOTHING_SCORED, "nothing is scored", [](auto& o) { return !scores(o); }},
    {NO_REPORT, "no text output", [](auto& o) { return !o.text_stdout && o.text_file.empty(); }},
    {REPORT_FILE, "-t is given", [](auto& o) { return !o.text_file.empty(); }},
    {XML_FILE, "-x is given", [](auto& o) { return !o.xml_file.empty(); }},
    {DOT_FILE, "-d is given", [](auto& o) { return !o.dot_file.empty(); }},
    {NO_TEAM, "there is one process",
     [](auto&) { return zel::util::default_context().companions == nullptr; }},
};

struct option_row {
  std::string_view name;
  unsigned ignored_for;  // reasons
};

// What is refused together needs no reason: with a saved model hold-outs, -cv, -db, -dbm, -imp,
// -tti and the experiments.
constexpr option_row k_options[] = {
    {"-f", SAVED_MODEL | BINARY_TABLE},
    {"-fm", SAVED_MODEL | BINARY_TABLE},
    {"-fd", SAVED_MODEL | BINARY_TABLE},
    {"-bd", SAVED_MODEL},
    {"-ft", EXPERIMENT},
    {"-fs", EXPERIMENT},
    {"-sep", NO_TEXT_FILE},
    {"-norescale", SAVED_MODEL},
    {"-ownunk", SAVED_MODEL},
    {"-unseen", EXPERIMENT | NOTHING_READ},
    {"-m", SAVED_MODEL | AS2018},  // which brings its own
    {"-depth", SAVED_MODEL},
    {"-gain", SAVED_MODEL | SDM2012},
    {"-grpure", SAVED_MODEL | SDM2012},
    {"-npp", SAVED_MODEL | SDM2012},  // -as2018 does not pre-prune the trees of its searches
    {"-np", SAVED_MODEL | EXPERIMENT},
    {"-ebp", SAVED_MODEL | EXPERIMENT},
    {"-ebpg", SAVED_MODEL | EXPERIMENT},
    {"-ebpa", SAVED_MODEL | EXPERIMENT},
    {"-pep", SAVED_MODEL | EXPERIMENT},
    {"-pepg", SAVED_MODEL | EXPERIMENT},
    {"-pepa", SAVED_MODEL | EXPERIMENT},
    {"-rep", SAVED_MODEL | EXPERIMENT},
    {"-repg", SAVED_MODEL | EXPERIMENT},
    {"-repa", SAVED_MODEL | EXPERIMENT},
    {"-mep", SAVED_MODEL | EXPERIMENT},
    {"-mepg", SAVED_MODEL | EXPERIMENT},
    {"-mepa", SAVED_MODEL | EXPERIMENT},
    {"-c", SAVED_MODEL | NO_ERROR_BASED},
    {"-costs", SAVED_MODEL | EXPERIMENT},
    {"-costw", SAVED_MODEL | EXPERIMENT},
    {"-cw", SAVED_MODEL | EXPERIMENT},
    {"-laplace", SAVED_MODEL | EXPERIMENT},
    {"-as", SAVED_MODEL | EXPERIMENT},
    {"-sfs", SAVED_MODEL | EXPERIMENT},
    {"-sbe", SAVED_MODEL | EXPERIMENT},
    {"-dtsbe", SAVED_MODEL | EXPERIMENT},
    {"-fslimit", SAVED_MODEL | SDM2012 | NO_SEARCH},
    {"-ba", SAVED_MODEL | SDM2012},
    {"-fo", SAVED_MODEL | SDM2012},
    {"-rf", SAVED_MODEL | EXPERIMENT},
    {"-bo", SAVED_MODEL | EXPERIMENT},
    {"-mtry", SAVED_MODEL | EXPERIMENT},
    {"-free", SAVED_MODEL | EXPERIMENT},
    {"-binary", SAVED_MODEL | EXPERIMENT},
    {"-extra", SAVED_MODEL | EXPERIMENT},
    {"-soft", SAVED_MODEL | EXPERIMENT},
    {"-bag", SAVED_MODEL | EXPERIMENT},
    {"-noreplace", SAVED_MODEL | EXPERIMENT},
    {"-balance", SAVED_MODEL | EXPERIMENT},
    {"-hs", EXPERIMENT},
    {"-hd", EXPERIMENT | STRATIFIED_HOLDOUT},
    {"-h", EXPERIMENT | STRATIFIED_HOLDOUT | FIXED_HOLDOUT},
    {"-hf", EXPERIMENT | STRATIFIED_HOLDOUT | FIXED_HOLDOUT | RANDOM_HOLDOUT},
    {"-tb", EXPERIMENT},
    {"-t", EXPERIMENT},
    {"-tstd", EXPERIMENT | REPORT_FILE},
    {"-oerr", EXPERIMENT | NO_REPORT},
    {"-imp", EXPERIMENT | NO_REPORT},
    {"-metrics", EXPERIMENT | NO_REPORT},
    {"-x", EXPERIMENT},
    {"-xstd", EXPERIMENT | XML_FILE},
    {"-d", EXPERIMENT},
    {"-dstd", EXPERIMENT | DOT_FILE},
    {"-pmml", EXPERIMENT},
    {"-json", EXPERIMENT},
    {"-mjson", EXPERIMENT},
    {"-s", EXPERIMENT | NOTHING_SCORED},
    {"-prob", EXPERIMENT | NOTHING_SCORED},
    {"-calibrate", EXPERIMENT},
    {"-calrows", EXPERIMENT},
    {"-sets", EXPERIMENT},
    {"-byclass", EXPERIMENT},
    {"-shap", EXPERIMENT},
    {"-shappred", EXPERIMENT},
    {"-shaptop", EXPERIMENT},
    {"-tti", EXPERIMENT},  // but that it sets the number of workers
    {"-columns", SAVED_MODEL | NO_TEAM},
    {"-seed", SAVED_MODEL},
    {"-resume", SAVED_MODEL},
    {"-as2018", SDM2012},
};

unsigned holding_reasons(const options& opt) {
  unsigned holding = 0;
  for (const reason_row& row : k_reasons) holding |= row.holds(opt) ? row.bit : 0U;
  return holding;
}

/// The first reason of those that hold for an option, 0 if none does. The order is that of bits.
unsigned first_reason(const option_row& row, unsigned holding) {
  const unsigned reasons = row.ignored_for & holding;
  return reasons & (~reasons + 1);
}

}  // namespace

std::vector<std::string> ignored_options(const options& opt) {
  const unsigned holding = holding_reasons(opt);
  std::vector<std::string> lines;
  for (const auto& [bit, text, holds] : k_reasons) {
    std::string names;
    for (const option_row& row : k_options) {
      if (first_reason(row, holding) != bit) continue;
      if (std::ranges::find(opt.given, row.name) == opt.given.end()) continue;
      names.append(names.empty() ? "" : ", ").append(row.name);
    }
    if (!names.empty()) lines.push_back("Ignored: " + names + " (" + std::string(text) + ")");
  }
  return lines;
}

}  // namespace orvcmd
