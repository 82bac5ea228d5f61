// The usage text, the manual page and the completion of the shell against the options that the
// program reads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <vector>

#include "errors.h"
#include "options.h"
#include "program.h"
#include "support/scratch_folder.h"

namespace orvcmd {
namespace {

constexpr char k_page[] = ORVIK_ROOT "/docs/orvcmd.1.md";
constexpr char k_load_completion[] = ". " ORVIK_ROOT "/cmd/completion.bash; ";

std::vector<std::string> lines_of_bash(const std::string& script) {
  std::istringstream out(run_shell("exec bash -c '" + (k_load_completion + script) + "'").out);
  std::vector<std::string> lines;
  for (std::string line; std::getline(out, line);) lines.push_back(line);
  return lines;
}

/// What the shell offers for the last of `words`.
std::vector<std::string> offered(const std::string& words) {
  return lines_of_bash("COMP_WORDS=(orvcmd " + words +
                       "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orvcmd; "
                       R"(for word in "${COMPREPLY[@]}"; do printf "%s\n" "$word"; done)");
}

bool is_complete(std::string_view option, std::size_t n_arguments) {
  std::vector<const char*> words(2 + n_arguments, "1");
  words[1] = option.data();
  try {
    options::parse(static_cast<int>(words.size()), words.data());
    return true;
  } catch (const early_end& end) {
    return end.status == 0 || !end.text.ends_with(": argument expected\n");
  }
}

TEST(usage, is_the_published_text_to_the_character) {
  std::ostringstream published;
  published << std::ifstream(ORVIK_ROOT "/tests/cmd/golden/usage.txt").rdbuf();
  EXPECT_EQ(usage_text("Orvik version x", 12), published.str());
}

TEST(usage, has_every_option_in_groups_behind_it) {
  const std::string groups(all_options_text());
  for (const std::string_view option : option_names()) {
    EXPECT_NE(groups.find("  " + std::string(option) + " "), groups.npos) << option;
  }
}

TEST(manual, names_every_option_of_the_program) {
  std::ostringstream page;
  page << std::ifstream(k_page).rdbuf();
  for (const std::string_view option : option_names()) {
    EXPECT_THAT(page.str(),
                testing::ContainsRegex("\n- (.*, )?\\*\\*" + std::string(option) + "\\*\\*[:, ]"));
  }
}

TEST(manual, explains_what_the_log_says_of_options_without_effect) {
  std::ostringstream page, session;
  page << std::ifstream(k_page).rdbuf();
  session << std::ifstream(ORVIK_ROOT "/tests/cmd/sessions/ignored.md").rdbuf();
  const std::string said = session.str();
  const std::regex reason("Ignored: .*[(](.*)[)]");
  for (std::sregex_iterator at(said.begin(), said.end(), reason), end; at != end; ++at) {
    EXPECT_THAT(page.str(), testing::HasSubstr('`' + at->str(1) + '`'));
  }
}

TEST(completion, knows_every_option_and_how_many_arguments_it_takes) {
  std::map<std::string, std::size_t> takes;
  for (const std::string& line : lines_of_bash(
           R"(for o in "${!_orvcmd_takes[@]}"; do echo "$o" ${_orvcmd_takes[$o]}; done)")) {
    std::istringstream words(line);
    std::string option, kind;
    words >> option;
    takes[option] = 0;
    while (words >> kind) ++takes[option];
  }
  EXPECT_EQ(takes.size(), option_names().size());
  for (const std::string_view option : option_names()) {
    ASSERT_TRUE(takes.contains(std::string(option))) << option;
    const std::size_t n = takes[std::string(option)];
    EXPECT_TRUE(is_complete(option, n)) << option;
    EXPECT_FALSE(n > 0 && is_complete(option, n - 1)) << option;
  }
}

using completing = scratch_folder;

TEST_F(completing, offers_what_fits_the_place_in_the_line) {
  for (const char* name : {"wine.names", "wine.data", "-m"}) write(name, "");
  using testing::ElementsAre;
  using testing::IsEmpty;
  EXPECT_THAT(offered("-tst"), ElementsAre("-tstd"));
  EXPECT_THAT(offered("-f w"), ElementsAre("wine"));
  EXPECT_THAT(offered("-fd wine.d"), ElementsAre("wine.data"));
  EXPECT_THAT(offered("-m \"\""), IsEmpty());
  EXPECT_THAT(offered("-cv 1 -tst"), IsEmpty());  // the folds
  EXPECT_THAT(offered("-cv 1 10 -tst"), ElementsAre("-tstd"));
  EXPECT_THAT(offered("-tti 1 2 wine.d"), ElementsAre("wine.data"));
  EXPECT_THAT(offered("-t -m"), ElementsAre("-m"));  // a file of that name, no option
  EXPECT_THAT(offered("-t -m -hel"), IsEmpty());
  EXPECT_THAT(offered("-t -m --he"), ElementsAre("--help"));
}

}  // namespace
}  // namespace orvcmd
