// Files as people have them, and what becomes of them.
#include "conversion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include "support/error_of.h"
#include "support/scratch_folder.h"

namespace orvprep {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

class conversions : public scratch_folder {
 protected:
  static std::string n_files() {
    return std::to_string(std::distance(fs::directory_iterator("."), fs::directory_iterator()));
  }
  /// Of the file "in" to "out".
  static settings plain(const std::string& input = "in") {
    settings how;
    how.input = input;
    how.output = "out";
    return how;
  }
  std::string error_of_converting(const settings& how) {
    return error_of([&] { convert(how, said_); });
  }

  std::ostringstream said_;
};

struct awkward {
  const char* what;
  std::string file;
  std::string names;  // or the error, where data is empty
  std::string data;
  std::function<void(settings&)> with = [](settings&) {};
};

const std::vector<awkward>& awkward_files() {
  const std::string two = "a,string,discrete\nk,string,class\n";
  const std::string number = "a,integer,continuous\nk,string,class\n";
  static const std::vector<awkward> rows = {
      {"plain", "a,k\nx,p\ny,q\n", two, "x,p\ny,q\n"},
      {"no line end at the end", "a,k\nx,p\ny,q", two, "x,p\ny,q\n"},
      {"CR LF", "a,k\r\nx,p\r\ny,q\r\n", two, "x,p\ny,q\n"},
      {"CR alone", "a,k\rx,p\ry,q\r", two, "x,p\ny,q\n"},
      {"byte order mark",
       "\xef\xbb\xbf"
       "a,k\nx,p\ny,q\n",
       two, "x,p\ny,q\n"},
      {"empty lines", "\n\na,k\n\nx,p\n\n\ny,q\n\n", two, "x,p\ny,q\n"},
      {"blanks around cells", " a , k \n x ,p\t\ny , q\n", two, "x,p\ny,q\n"},
      {"semicolons", "a;k\nx;p\ny;q\n", two, "x,p\ny,q\n"},
      {"tabs, one cell empty", "a\tk\nx\tp\n\tq\ny\tp\n", two, "x,p\n?,q\ny,p\n"},
      {"bars", "a|k\nx|p\ny|q\n", two, "x,p\ny,q\n"},
      {"commas inside of semicolons", "a;k\nx,1;p\ny,2;q\n", two, "x_1,p\ny_2,q\n"},
      {"quotes everywhere", "\"a\",\"k\"\n\"x\",\"p\"\n\"y\",\"q\"\n", two, "x,p\ny,q\n"},
      {"doubled quotes", "a,k\n\"x \"\"1\"\"\",p\ny,q\n", two, "x \"1\",p\ny,q\n"},
      {"line end in quotes", "a,k\n\"x\nz\",p\ny,q\n", two, "x_z,p\ny,q\n"},
      {"quoted blanks", "a,k\n\" x \",p\ny,q\n", two, "x,p\ny,q\n"},
      {"unknown texts", "a,k\nx,p\n,p\nNA,q\n?,q\n\"\",q\ny,p\n", two,
       "x,p\n?,p\n?,q\n?,q\n?,q\ny,p\n"},
      {"unknown texts of one's own", "a,k\n1,p\n-999,p\nnone,q\n2,q\n3,q\n", number,
       "1,p\n?,p\n?,q\n2,q\n3,q\n",
       [](settings& s) {
         s.cells.unknown.insert(s.cells.unknown.end(), {"-999", "none"});
       }},
      {"whole numbers", "a,k\n1,p\n+2,q\n-3,q\n-3,q\n", number, "1,p\n2,q\n-3,q\n-3,q\n"},
      {"two whole numbers are names", "a,k\n1,p\n0,q\n1,q\n", two, "1,p\n0,q\n1,q\n"},
      {"decimal numbers", "a,k\n1,p\n.5,q\n2.,q\n1e3,p\n", "a,double,continuous\nk,string,class\n",
       "1,p\n.5,q\n2.,q\n1e3,p\n"},
      {"beyond 32 bits", "a,k\n1,p\n3000000000,q\n1,q\n", "a,double,continuous\nk,string,class\n",
       "1,p\n3000000000,q\n1,q\n"},
      {"zeros in front", "a,k\n007,p\n8,q\n9,p\n", two, "007,p\n8,q\n9,p\n"},
      {"numbers of 20 digits", "a,k\n12345678901234567890,p\n1,q\n2,p\n", two,
       "12345678901234567890,p\n1,q\n2,p\n"},
      {"a text among numbers", "a,k\n1,p\n2,q\nx,p\n3,q\n", two, "1,p\n2,q\nx,p\n3,q\n"},
      {"decimal commas", "a;k\n1,5;p\n-2,25;q\n7;q\n", "a,double,continuous\nk,string,class\n",
       "1.5,p\n-2.25,q\n7,q\n", [](settings& s) { s.cells.decimal_point = ','; }},
      {"no header", "1,p\n5,q\n2,p\n", "column1,integer,continuous\ncolumn2,string,class\n",
       "1,p\n5,q\n2,p\n"},
      {"no header, texts only", "x,p\ny,q\nx,q\n",
       "column1,string,discrete\ncolumn2,string,class\n", "x,p\ny,q\nx,q\n"},
      {"a header of numbers by order", "1,2\nx,p\ny,q\n", "1,string,discrete\n2,string,class\n",
       "x,p\ny,q\n", [](settings& s) { s.header = header_mode::present; }},
      {"row names with an empty name", "\"\",\"a\",\"k\"\n\"r\",1,p\n\"s\",2,q\n\"r\",4,q\n",
       "column1,string,discrete\na,integer,continuous\nk,string,class\n", "r,1,p\ns,2,q\nr,4,q\n"},
      {"row names without a name", "a k\n1 1 p\n2 2 q\n3 4 q\n",
       "row,null,ignore\na,integer,continuous\nk,string,class\n", "?,1,p\n?,2,q\n?,4,q\n",
       [](settings& s) {
         s.separator = ' ';
         s.columns.continuous = {"a"};
       }},
      {"equal and missing names", "a,a,,k\n1,x,y,p\n5,y,x,q\n1,y,y,q\n",
       "a,integer,continuous\na.2,string,discrete\ncolumn3,string,discrete\nk,string,class\n",
       "1,x,y,p\n5,y,x,q\n1,y,y,q\n",
       [](settings& s) {
         s.header = header_mode::present;
         s.columns.continuous = {"1"};
       }},
      {"a separator in a name", "\"a, b\",k\nx,p\ny,q\n", "a_ b,string,discrete\nk,string,class\n",
       "x,p\ny,q\n"},
      {"constants and unknown columns", "a,b,c,k\nx,1,NA,p\ny,1,,q\n",
       "a,string,discrete\nb,null,ignore\nc,null,ignore\nk,string,class\n", "x,?,?,p\ny,?,?,q\n"},
      {"roles by name and number", "k,w,a,o\np,.5,x,lo\nq,2,y,hi\np,1,x,hi\n",
       "k,string,class\nw,double,weights\na,null,ignore\no,ostring:lo;hi,continuous\n",
       "p,.5,?,lo\nq,2,?,hi\np,1,?,hi\n",
       [](settings& s) {
         s.columns.class_column = "k";
         s.columns.weights_column = "2";
         s.columns.ignored = {"a"};
         s.columns.ordered["o"] = {"lo", "hi"};
       }},
      {"another separator and replacement", "a,k\n\"x|y\",p\n\"x,z\",q\n",
       "a|string|discrete\nk|string|class\n", "x/y|p\nx,z|q\n",
       [](settings& s) {
         s.cells.out_separator = '|';
         s.cells.replacement = "/";
       }},
      {"rows of unknown class left out", "a,k\nx,p\ny,NA\ny,q\n", two, "x,p\ny,q\n",
       [](settings& s) { s.drop_unclassed = true; }},
      {"a NUL in a text", "a,k\nx,p\ny\0,q\n"s, "in:3: a NUL byte: is this a text file?", ""},
      {"UTF-16",
       "\xff\xfe"
       "a\0,\0k\0\n\0"s,
       "in: text in UTF-16 or UTF-32; convert it to UTF-8, as by iconv", ""},
      {"nothing", "", "in: no rows", ""},
      {"a header alone", "a,k\n", "in: no rows below the header", "",
       [](settings& s) { s.header = header_mode::present; }},
      {"one column", "a\nx\ny\n",
       "in: rows of one column, or of different lengths with every separator; name it by "
       "--separator",
       ""},
      {"a short row", "a,k\nx,p\ny\nz,q\n", "in:3: 1 cells instead of 2", "",
       [](settings& s) { s.separator = ','; }},
      {"a long row", "a,k\nx,p\n\"y\nz\",q\ny,q,\n", "in:5: 3 cells instead of 2", "",
       [](settings& s) { s.separator = ','; }},
      {"an open quote", "a,k\nx,p\n\"y,q\nz,p\n",
       "in:3: a quote that is opened here or before is never closed", "",
       [](settings& s) { s.separator = ','; }},
      {"text behind a quote", "a,k\nx,p\n\"y\"z,q\n",
       "in:3: a quote inside a cell without quotes, or text behind a closing quote", "",
       [](settings& s) { s.separator = ','; }},
      {"unknown class", "a,k\nx,p\ny,\ny,q\n",
       "in:3: column 'k': unknown class; --drop-unclassed leaves such rows out", ""},
      {"one class", "a,k\nx,p\ny,p\n", "in: column 'k': a class needs two different values", ""},
      {"a number for a class", "a,k\nx,1.5\ny,2.5\n",
       "in: column 'k': the last column is a number of many values; name the class by --class", ""},
      {"no such column", "a,k\nx,p\ny,q\n", "in: no column 'z'", "",
       [](settings& s) { s.columns.class_column = "z"; }},
      {"unknown weight", "w,k\n1,p\nNA,q\n", "in: column 'w': a weight is unknown: 'NA' (line 3)",
       "", [](settings& s) { s.columns.weights_column = "w"; }},
      {"negative weight", "w,k\n1,p\n-1,q\n", "in: column 'w': a weight is below 0", "",
       [](settings& s) { s.columns.weights_column = "w"; }},
      {"not in the order", "o,k\nlo,p\nhi,q\nmid,q\n",
       "in: column 'o': value not in the given order: 'mid' (line 4)", "",
       [](settings& s) {
         s.columns.ordered["o"] = {"lo", "hi"};
       }},
      {"not a number", "a,k\n1,p\n2,q\n3x,q\n", "in: column 'a': not a number: '3x' (line 4)", "",
       [](settings& s) { s.columns.continuous = {"a"}; }},
      {"values that would look alike",
       "a,k\nx_y,q\n\"u,v\",p\n\"x,y\",p\nu_v,q\n\"a,b\",p\na_b,q\n\"c,d\",p\nc_d,q\n",
       "in: column 'a': 'u,v' would look as another value when written; see --replace", ""},
      {"two values written alike", "a,k\n\"x,y\",p\nx\ty,q\n",
       "in: column 'a': 'x\ty' would look as another value when written; see --replace", "",
       [](settings& s) { s.separator = ','; }},
  };
  return rows;
}

TEST_F(conversions, of_awkward_files) {
  for (const awkward& row : awkward_files()) {
    SCOPED_TRACE(row.what);
    write("in", row.file);
    settings how = plain();
    row.with(how);
    const std::string error = error_of_converting(how);
    if (row.data.empty()) {
      EXPECT_EQ(error, row.names);
      EXPECT_EQ(n_files(), "1") << "nothing is written";
    } else {
      EXPECT_EQ(error, "");
      EXPECT_EQ(read("out.names"), row.names);
      EXPECT_EQ(read("out.data"), row.data);
      EXPECT_EQ(n_files(), "3");
    }
    for (const char* name : {"out.names", "out.data"}) fs::remove(name);
  }
}

TEST_F(conversions, leave_keys_out_and_say_what_else_they_did) {
  std::string file = "id;code;n;k\n";
  for (int i = 0; i < 60; ++i) {
    file += std::to_string(100 + i) + ";key" + std::to_string(i) + ";" + std::to_string(i % 7) +
            ";" + (i % 3 == 0 ? "p\n" : "\"q;r\"\n");
  }
  write("in", file);
  settings how = plain();
  how.cells.out_separator = ';';
  convert(how, said_);
  EXPECT_EQ(read("out.names"),
            "id;null;ignore\ncode;null;ignore\nn;integer;continuous\nk;string;class\n");
  const std::string text = said_.str();
  for (const char* said : {"60 rows, 4 columns, separator ';', with a header", "0 .. 6",
                           "different in every row, left out", "q;r (40), p (20)",
                           "1 values with separators or line ends, written with '_'"}) {
    EXPECT_NE(text.find(said), std::string::npos) << said << " in\n" << text;
  }
}

TEST_F(conversions, bring_a_second_file_into_the_form_of_the_first) {
  write("in", "a,n,key,k\nx,1,u,p\ny,2,v,q\nx,5,w,q\n");
  write("test", "k;extra;n;a\np;0;2.5;x\nq;1;NA;z\nq;2;7;z\n");
  settings how = plain();
  how.test = "test";
  how.columns.ignored = {"key"};
  how.columns.continuous = {"n"};
  convert(how, said_);
  EXPECT_EQ(read("out.names"),
            "a,string,discrete\nn,double,continuous\nkey,null,ignore\nk,string,class\n");
  EXPECT_EQ(read("out.test"), "x,2.5,?,p\nz,?,?,q\nz,7,?,q\n");
  EXPECT_NE(said_.str().find("column 'extra' is not in the training file, left out"),
            std::string::npos);
  EXPECT_NE(said_.str().find("column 'a': 2 cells of values that training did not have, first 'z' "
                             "(line 3)"),
            std::string::npos);

  write("test", "a,n\nx,1\n");
  convert(how, said_);
  EXPECT_EQ(read("out.test"), "x,1,?,?\n");
  EXPECT_NE(said_.str().find("no column 'k': rows to score, not to test"), std::string::npos);
  write("test", "k,a\np,x\n");
  EXPECT_EQ(error_of_converting(how), "test: no column 'n': it is needed, as in the training file");
  write("test", "k,a,n\np,x,many\n");
  EXPECT_EQ(error_of_converting(how), "test:2: column 'n': not a number: 'many'");
}

TEST_F(conversions, read_gzip_and_pipes) {
  write("in.csv", "a,k\nx,p\ny,q\n");
  ASSERT_EQ(std::system("gzip -c in.csv > in.gz; mkfifo pipe"), 0);
  std::thread writer([] { static_cast<void>(!std::system("cat in.csv > pipe")); });
  for (const char* name : {"in.gz", "pipe"}) {
    convert(plain(name), said_);
    EXPECT_EQ(read("out.data"), "x,p\ny,q\n") << name;
  }
  writer.join();
  ASSERT_EQ(std::system("head -c 20 in.gz > cut.gz"), 0);
  EXPECT_EQ(error_of_converting(plain("cut.gz")), "cut.gz: truncated gzip data");
  EXPECT_EQ(error_of_converting(plain("none")), "none: No such file or directory");
}

TEST_F(conversions, never_replace_what_they_read) {
  write("x.data", "a,k\nx,p\ny,q\n");
  ASSERT_EQ(std::system("ln -s x.data x.test; ln x.data other"), 0);
  settings how = plain("other");
  how.output = "x";
  EXPECT_EQ(error_of_converting(how), "x.data: would replace the file that is converted");
  write("y", "a,k\nx,p\ny,q\n");
  how.input = "y";
  how.test = "x.data";
  how.output = "y";
  convert(how, said_);
  EXPECT_EQ(read("y.test"), "x,p\ny,q\n");
  how.test = "y.test";
  EXPECT_EQ(error_of_converting(how), "y.test: would replace the file that is converted");
}

TEST_F(conversions, keep_older_files_when_they_fail) {
  write("in", "a,k\nx,p\ny,q\nz\n");
  write("out.data", "older");
  settings how = plain();
  how.separator = ',';
  EXPECT_EQ(error_of_converting(how), "in:4: 1 cells instead of 2");
  EXPECT_EQ(read("out.data"), "older");
}

}  // namespace
}  // namespace orvprep
