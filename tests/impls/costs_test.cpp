// Files of what errors cost and classes weigh.
#include "orvik/costs.h"

#include <gtest/gtest.h>

#include "support/error_of.h"
#include "support/scratch_folder.h"

namespace orvik {
namespace {

const std::vector<std::string> k_classes = {"?", "good", "bad", "a,\"b\""};

using cost_files = scratch_folder;

TEST_F(cost_files, have_their_columns_in_any_order) {
  const std::vector<class_cost> expected = {{1, 2, 5}, {2, 1, 0.5}, {3, 3, 0}};
  for (const char* text :
       {"predicted,actual,cost\ngood,bad,5\nbad,good,0.5\n\"a,\"\"b\"\"\",\"a,\"\"b\"\"\",0\n",
        "\xef\xbb\xbf"
        "actual , predicted,cost\r\n\r\nbad,good, 5e0\r\ngood,bad,.5\r\n"
        "\"a,\"\"b\"\"\" , \"a,\"\"b\"\"\",0"}) {
    write("c.csv", text);
    EXPECT_EQ(read_costs("c.csv", k_classes), expected) << text;
  }
  write("w.csv", "weight,class\n2.5,bad\n");
  EXPECT_EQ(read_class_weights("w.csv", k_classes), (std::vector<double>{1, 1, 2.5, 1}));
}

TEST_F(cost_files, are_refused_by_file_and_line) {
  const struct {
    const char *text, *error;
  } rows[] = {
      {"", ": is empty"},
      {"\n \n", ": is empty"},
      {"good,bad,5\n", " (line 1): the first line must name the columns predicted,actual,cost"},
      {"predicted,actual\n",
       " (line 1): the first line must name the columns predicted,actual,cost"},
      {"predicted,predicted,cost\n",
       " (line 1): the first line must name the columns predicted,actual,cost"},
      {"predicted,actual,cost\n\n", ": has no rows below its header"},
      {"predicted,actual,cost\ngood,bad\n", " (line 2): 2 cells where 3 are expected"},
      {"predicted,actual,cost\n\ngood,bda,5\n", " (line 3): no class 'bda'; did you mean 'bad'?"},
      {"predicted,actual,cost\n?,bad,5\n", " (line 2): no class '?'"},
      {"predicted,actual,cost\ngood,bad,\n", " (line 2): the cost is missing"},
      {"predicted,actual,cost\ngood,bad,-1\n",
       " (line 2): the cost must be a number from 0 to 1e+100, not '-1'"},
      {"predicted,actual,cost\ngood,bad,inf\n",
       " (line 2): the cost must be a number from 0 to 1e+100, not 'inf'"},
      {"predicted,actual,cost\ngood,bad,1e999\n",
       " (line 2): the cost must be a number from 0 to 1e+100, not '1e999'"},
      {"predicted,actual,cost\ngood,bad,five\n",
       " (line 2): the cost must be a number from 0 to 1e+100, not 'five'"},
      {"predicted,actual,cost\ngood,good,1\n", " (line 2): what is right must cost 0"},
      {"predicted,actual,cost\ngood,bad,1\nbad,good,1\ngood,bad,2\n",
       " (line 4): the pair stands twice"},
      {"predicted,actual,cost\n\"good,bad,1\n", " (line 2): a quote that does not end"},
  };
  for (const auto& [text, error] : rows) {
    write("c.csv", text);
    EXPECT_EQ(error_of([] { read_costs("c.csv", k_classes); }), std::string("c.csv") + error);
  }
  EXPECT_EQ(error_of([&] { read_costs("/nowhere/c.csv", k_classes); }),
            "/nowhere/c.csv: cannot be read");
  EXPECT_EQ(error_of([&] { read_costs("/", k_classes); }), "/: cannot be read");
  write("w.csv", "class,weight\ngood,0\n");
  EXPECT_EQ(error_of([&] { read_class_weights("w.csv", k_classes); }),
            "w.csv (line 2): the weight of a class must be above 0");
}

}  // namespace
}  // namespace orvik
