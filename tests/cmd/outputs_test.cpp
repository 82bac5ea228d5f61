#include "outputs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "program.h"
#include "support/scratch_folder.h"

namespace orvcmd {
namespace {

namespace fs = std::filesystem;

/// A folder with the file "a", its hard link "hard" and symbolic links: "soft" to a, "waiting" to
/// a file "new" that does not exist, "sub/up" to the folder itself and "loop" to itself.
class output_files : public scratch_folder {
 protected:
  output_files() {
    write("a", "content");
    fs::create_hard_link("a", "hard");
    fs::create_symlink("a", "soft");
    fs::create_symlink("new", "waiting");
    fs::create_directory("sub");
    fs::create_directory_symlink("..", "sub/up");
    fs::create_symlink("loop", "loop");
  }

  /// @return the message with which the outputs of `opt` are refused, "" if they are not; refused
  /// or not, the check must leave the folder alone.
  std::string refusal(const options& opt) {
    std::string message;
    try {
      check_files(opt);
    } catch (const std::runtime_error& error) {
      message = error.what();
    }
    EXPECT_EQ(read("a"), "content");
    EXPECT_FALSE(fs::exists("new"));
    return message;
  }
};

struct pair_of_names {
  const char* output;
  const char* other;
  bool same;
};

TEST_F(output_files, must_differ_from_inputs_and_each_other_under_any_name) {
  const pair_of_names rows[] = {{"a", "a", true},
                                {"./a", "a", true},
                                {"sub/../a", "a", true},
                                {"sub/up/a", "a", true},
                                {"hard", "a", true},
                                {"soft", "hard", true},
                                {"new", "./new", true},
                                {"new", "waiting", true},
                                {"sub/up/new", "new", true},
                                {"waiting", "sub/up/waiting", true},
                                {"new", "a", false},
                                {"new", "sub/new", false},
                                {"/dev/null", "/dev/null", false}};
  for (const pair_of_names& row : rows) {
    SCOPED_TRACE(std::string(row.output) + " and " + row.other);
    options with_input;
    with_input.data_file = row.other;
    with_input.text_file = row.output;
    const std::string subject = "Cannot open/create " + std::string(row.output);
    const std::string other(row.other);
    EXPECT_EQ(refusal(with_input),
              row.same ? subject + ": it is the same file as the training data file " + other : "");
    options with_output;
    with_output.text_file = row.other;
    with_output.tree_binary_output = row.output;
    EXPECT_EQ(refusal(with_output),
              row.same ? subject + ": it is the same file as the text output file " + other : "");
  }
}

TEST_F(output_files, are_all_compared) {
  const auto inputs = {&options::metadata_file,     &options::data_file,
                       &options::test_file,         &options::score_data_file,
                       &options::binary_data_input, &options::tree_binary_input};
  const auto file_outputs = {
      &options::log_file,          &options::text_file,          &options::trace_file,
      &options::xml_file,          &options::pmml_file,          &options::json_file,
      &options::dot_file,          &options::binary_data_output, &options::tree_binary_output,
      &options::score_output_file, &options::reasons_file};
  for (const auto output : file_outputs) {
    for (const auto& others : {inputs, file_outputs}) {
      for (const auto other : others) {
        if (other == output) continue;
        options opt;
        opt.*output = "./new";
        opt.*other = "new";
        EXPECT_NE(refusal(opt), "");
      }
    }
  }
}

TEST_F(output_files, print_no_sign_before_a_not_a_number) {
  options opt;
  opt.log_file = "log";
  opt.text_file = "text";
  opt.xml_file = "xml";
  opt.dot_file = "dot";
  opt.trace_file = "trace";
  const double nan = std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0);
  outputs out(opt);
  for (std::ostream* const each : {out.log(), out.text(), out.xml(), out.dot(), out.trace()}) {
    *each << nan << ' ' << static_cast<long double>(nan) << ' ' << -1.5 << std::fixed << nan
          << 10000;
  }
  out.close();
  for (const char* name : {"log", "text", "xml", "dot", "trace"}) {
    EXPECT_EQ(read(name), "nan nan -1.5nan10000") << name;
  }
}

}  // namespace
}  // namespace orvcmd
