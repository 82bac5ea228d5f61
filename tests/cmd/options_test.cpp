#include "options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

TEST(command_line, names_the_option_whose_argument_is_missing) {
  std::vector<words> lines;
  for (const std::string_view option : option_names()) {
    constexpr std::string_view k_alone[] = {"-soft", "-noreplace", "-balance", "-costw",
                                            "-byclass"};
    const bool alone = std::ranges::find(k_alone, option) != std::end(k_alone);
    if (!alone && end_of({option.data()}).status == 255) lines.push_back({option.data()});
  }
  EXPECT_GT(lines.size(), 30);
  for (const words& line : lines) {
    const std::string_view name = line[0] == std::string_view("-t") ? "-r" : line[0];
    EXPECT_EQ(end_of(line).text, std::string(name) + ": argument expected\n");
  }
}

}  // namespace
}  // namespace orvcmd
