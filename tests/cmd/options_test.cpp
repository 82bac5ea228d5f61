#include "options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <vector>

#include "errors.h"
#include "orvik/orvik.h"

namespace orvcmd {
namespace {

using words = std::vector<const char*>;

options parse(words line) {
  line.insert(line.begin(), "orvcmd");
  return options::parse(static_cast<int>(line.size()), line.data());
}

early_end end_of(const words& line) {
  try {
    parse(line);
  } catch (const early_end& end) {
    return end;
  }
  return {-1, "accepted"};
}

// What the other tests of the program do not use, or not at its bounds.
struct accepted_line {
  words line;
  bool (*holds)(const options&);
};

TEST(command_line, takes_what_its_words_say_and_the_last_of_them) {
  const accepted_line rows[] = {
      {{"-f", "data", "-fd", "other"},
       [](auto& o) { return o.metadata_file == "data.names" && o.data_file == "other"; }},
      {{"-t", "-nl"}, [](auto& o) { return o.text_file == "-nl" && o.log_stdout; }},
      {{"-sep", ";x"}, [](auto& o) { return o.separator == ';'; }},
      {{"-c", "1"}, [](auto& o) { return o.confidence_level == 1; }},
      {{"-m", "0.5kg"}, [](auto& o) { return o.min_weighted_objects == 0.5; }},
      {{"-depth", "abc"}, [](auto& o) { return o.max_depth == 0; }},
      {{"-depth", "1000000000"}, [](auto& o) { return o.max_depth == 1000000000; }},
      {{"-cv", "1000000", "1000000"}, [](auto& o) { return o.cv_folds == 1000000; }},
      {{"-ba", "5trees"}, [](auto& o) { return o.bagging && !o.forest && o.n_trees == 5; }},
      {{"-ba", "5", "-fo", "3"}, [](auto& o) { return o.forest && !o.bagging && o.n_trees == 3; }},
      {{"-as", "-1"}, [](auto& o) { return o.feature_selection == 1 && o.as_delta == -1; }},
      {{"-as", "0", "-sfs"}, [](auto& o) { return o.feature_selection == 3 && o.as_delta == 0; }},
      {{"-fslimit", "1e9"}, [](auto& o) { return o.fs_limit == 1e9; }},
      {{"-nl", "-lstd"}, [](auto& o) { return o.log_stdout; }},
      {{"-tt", "1000000"}, [](auto& o) { return o.n_workers == 1000000; }},
      {{"-tt", "3", "-tt", "0"}, [](auto& o) { return o.n_workers == orvik::get_n_workers(); }},
      {{"-tt", "3", "-tti", "0", "0", "trace"},
       [](auto& o) {
         return o.trace_min_workers == 1 && o.trace_max_workers == orvik::get_n_workers() &&
                o.trace_file == "trace" && o.n_workers == 1;
       }},
      {{"-sdm2012", "-2147483648"},
       [](auto& o) { return o.exp_id == std::numeric_limits<std::int32_t>::min(); }},
      {{"-seed", "18446744073709551615"},
       [](auto& o) { return o.seed == std::numeric_limits<unsigned long>::max(); }},
      {{"-seed", "0"}, [](auto& o) { return o.seed.has_value() && *o.seed == 0; }},
  };
  for (const accepted_line& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.line));
    ASSERT_NO_THROW(EXPECT_TRUE(row.holds(parse(row.line))));
  }
}

TEST(command_line, numbers_what_there_is_to_choose_as_the_library_does) {
  std::int32_t number = 0;
  for (const char* option : {"-npp", "-np", "-ebp", "-ebpg", "-ebpa", "-pep", "-pepg", "-pepa",
                             "-rep", "-repg", "-repa", "-mep", "-mepg", "-mepa"}) {
    EXPECT_EQ(parse({option}).pruning, number++) << option;
  }
  EXPECT_EQ(parse({"-gain"}).split_type, orvik::model::INFORMATION_GAIN);
  EXPECT_EQ(parse({"-gain", "-grpure"}).split_type, orvik::model::PURE_GAIN_RATIO);
  EXPECT_EQ(parse({"-sfs"}).feature_selection, orvik::model::FORWARD);
  EXPECT_EQ(parse({"-dtsbe"}).feature_selection, orvik::model::OPTIMISED_BACKWARD);
  EXPECT_EQ(parse({"-sbe"}).feature_selection, orvik::model::BACKWARD);
}

struct refused_line {
  words line;
  const char* message;
};

TEST(command_line, refuses_values_out_of_range) {
  const char* confidence = "Confidence level must be in (0,1]";
  const char* holdout = "Holdout must be in (0,100)";
  const char* delta = "<delta> must >= 0";
  const char* trees = "No trees must be at least 1";
  const char* limit = "in -fslimit, <seconds> must be a number > 0 and <= 1000000000";
  const char* seed = "in -seed, <n> must be a whole number from 0 to 18446744073709551615";
  const refused_line rows[] = {
      {{"-c", "0"}, confidence},
      {{"-c", "1.01"}, confidence},
      {{"-c", "nan"}, confidence},
      {{"-m", "0"}, "MinWeightedObjects must be > 0"},
      {{"-m", "nan"}, "MinWeightedObjects must be > 0"},
      {{"-depth", "-1"}, "MaxDepth must be >= 0"},
      {{"-cv", "0", "5"}, "Cross validation <r> must be > 0"},
      {{"-cv", "0"}, "Cross validation <r> must be > 0"},
      {{"-cv", "1", "0"}, "Cross validation <n> must be > 0"},
      {{"-ba", "0"}, trees},
      {{"-fo", "x"}, trees},
      {{"-h", "0"}, holdout},
      {{"-h", "100"}, holdout},
      {{"-hf", "-3"}, holdout},
      {{"-hd", "nan"}, holdout},
      {{"-hs", "inf"}, holdout},
      {{"-as", "-0.5"}, delta},
      {{"-as", "nan"}, delta},
      {{"-tt", "-1"}, "in -tt, <n> must be in >= 0"},
      {{"-fslimit", "0"}, limit},
      {{"-fslimit", "5abc"}, limit},
      {{"-fslimit", ""}, limit},
      {{"-fslimit", "nan"}, limit},
      {{"-fslimit", "1000000001"}, limit},
      {{"-fslimit", "1e999"}, limit},
      {{"-ba", "1000001"}, "in -ba, <n> must be at most 1000000"},
      {{"-ba", "99999999999999999999"}, "in -ba, <n> must be at most 1000000"},
      {{"-fo", "-99999999999999999999"}, trees},
      {{"-fo", "4294967297"}, "in -fo, <n> must be at most 1000000"},
      {{"-cv", "1000001"}, "in -cv, <r> must be at most 1000000"},
      {{"-cv", "2", "99999999999999999999"}, "in -cv, <n> must be at most 1000000"},
      {{"-depth", "99999999999999999999"}, "in -depth, <num> must be at most 1000000000"},
      {{"-tt", "1000001"}, "in -tt, <n> must be at most 1000000"},
      {{"-tti", "99999999999999999999", "1", "f"}, "in -tti, <t> must be at most 1000000"},
      {{"-tti", "1", "1000001", "f"}, "in -tti, <w> must be at most 1000000"},
      {{"-m", "1e999"}, "in -m, <num> must be finite"},
      {{"-as", "inf"}, "in -as, <b> must be finite"},
      {{"-sdm2012", "2147483648"}, "in -sdm2012, <n> must be from -2147483648 to 2147483647"},
      {{"-as2018", "1", "1", "1", "-99999999999999999999"},
       "in -as2018, <n> must be from -2147483648 to 2147483647"},
      {{"-seed", "-1"}, seed},
      {{"-seed", "1.5"}, seed},
      {{"-seed", ""}, seed},
      {{"-seed", "18446744073709551616"}, seed},
  };
  for (const refused_line& row : rows) {
    const early_end end = end_of(row.line);
    EXPECT_EQ(end.text, std::string(row.message) + '\n') << testing::PrintToString(row.line);
    EXPECT_EQ(end.status, 255);
  }
}

TEST(command_line, names_the_option_whose_argument_is_missing) {
  std::vector<words> lines = {{"-cv", "1"}, {"-as2018", "a", "1", "2"}, {"-tti", "-1"}};
  for (const std::string_view option : option_names()) {
    if (end_of({option.data()}).status == 255) lines.push_back({option.data()});
  }
  EXPECT_GT(lines.size(), 30);
  for (const words& line : lines) {
    const std::string_view name = line[0] == std::string_view("-t") ? "-r" : line[0];
    EXPECT_EQ(end_of(line).text, std::string(name) + ": argument expected\n");
  }
}

TEST(command_line, refuses_unknown_words_on_one_line) {
  for (const char* word : {"-q", "", "-F", "data", "--helpme"}) {
    EXPECT_EQ(end_of({"-gain", word}).text, "Unknown option: " + std::string(word) + '\n');
  }
  EXPECT_EQ(end_of({"-a\nb\x1b"}).text, "Unknown option: -a?b?\n");
  EXPECT_EQ(end_of({"-q"}).status, 255);
}

TEST(command_line, ends_silently_for_negative_trace_workers) {
  for (const words& line : {words{"-tti", "-1", "2", "f"}, words{"-tti", "1", "-2", "f"}}) {
    EXPECT_EQ(end_of(line).text, "");
    EXPECT_EQ(end_of(line).status, 255);
  }
}

TEST(command_line, lets_an_empty_separator_be_out_of_range) {
  EXPECT_THROW(parse({"-sep", ""}), std::out_of_range);
}

TEST(command_line, asking_for_help_wins_over_what_follows_only) {
  EXPECT_EQ(end_of({}).status, 0);
  EXPECT_EQ(end_of({"--help", "-q"}).status, 0);
  EXPECT_EQ(end_of({"--help", "-q"}).text, end_of({}).text);
  EXPECT_EQ(end_of({"-m", "0", "--help"}).status, 255);
}

}  // namespace
}  // namespace orvcmd
