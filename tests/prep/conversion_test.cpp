// Files as people have them, and what becomes of them.
#include "conversion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
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

void nothing(settings&) {}

struct awkward {
  const char* what;
  std::string file;
  std::string names;  // or the error, where data is empty
  std::string data;
  void (*with)(settings&) = nothing;
  std::string said{};  // somewhere in what is told
};

std::string repeated(const std::string& text, int n) {
  std::string all;
  for (int i = 0; i < n; ++i) all += text;
  return all;
}

std::string counted_up(int n) {
  std::string all;
  for (int i = 0; i < n; ++i) all += std::to_string(i) + ",q\n";
  return all;
}

const std::vector<awkward>& awkward_files() {
  const std::string long_name(300000, 'h');
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
      {"quotes everywhere", "\"a\",\"k\"\n\"x\",\"p\"\n\"y\",\"q\"\n", two, "x,p\ny,q\n"},
      {"doubled quotes", "a,k\n\"x \"\"1\"\"\",p\ny,q\n", two, "x \"1\",p\ny,q\n"},
      {"line end in quotes", "a,k\n\"x\nz\",p\ny,q\n", two, "x_z,p\ny,q\n"},
      {"quoted blanks", "a,k\n\" x \",p\ny,q\n", two, "x,p\ny,q\n"},
      {"unknown texts", "a,k\nx,p\n,p\nNA,q\n?,q\n\"\",q\ny,p\n", two,
       "x,p\n?,p\n?,q\n?,q\n?,q\ny,p\n"},
      {"unknown texts of one's own", "a,k\n1,p\n-999,p\nnone,q\n2,q\n3,q\n", number,
       "1,p\n?,p\n?,q\n2,q\n3,q\n", [](settings& s) { s.cells.add_unknown({"-999"}); }},
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
       "x,p\ny,q\n", [](settings& s) { s.layout.header = header_mode::present; }},
      {"row names with an empty name", "\"\",\"a\",\"k\"\n\"r\",1,p\n\"s\",2,q\n\"r\",4,q\n",
       "column1,string,discrete\na,integer,continuous\nk,string,class\n", "r,1,p\ns,2,q\nr,4,q\n"},
      {"row names without a name", "a k\n1 1 p\n2 2 q\n3 4 q\n",
       "row,null,ignore\na,integer,continuous\nk,string,class\n", "?,1,p\n?,2,q\n?,4,q\n",
       [](settings& s) {
         s.layout.separator = ' ';
         s.columns.continuous = {"a"};
       }},
      {"equal and missing names", "a,a,,k\n1,x,y,p\n5,y,x,q\n1,y,y,q\n",
       "a,integer,continuous\na.2,string,discrete\ncolumn3,string,discrete\nk,string,class\n",
       "1,x,y,p\n5,y,x,q\n1,y,y,q\n",
       [](settings& s) {
         s.layout.header = header_mode::present;
         s.columns.continuous = {"1"};
       }},
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
      {"a line longer than what is looked at first", long_name + ",k\nx,p\ny,q\n",
       long_name + ",string,discrete\nk,string,class\n", "x,p\ny,q\n"},
      {"another separator and replacement", "a,k\n\"x|y\",p\n\"x,z\",q\n",
       "a|string|discrete\nk|string|class\n", "x/y|p\nx,z|q\n",
       [](settings& s) {
         s.cells.out_separator = '|';
         s.cells.replacement = "/";
       }},
      {"rows of unknown class left out", "a,k\nx,p\ny,NA\ny,q\n", two, "x,p\ny,q\n",
       [](settings& s) { s.drop_unclassed = true; }},
      {"a NUL in a text", "a,k\nx,p\ny\0,q\n"s, "in:3: a NUL byte: is this a text file?", ""},
      {"UTF-32", "\xff\xfe\0\0a\0\0\0"s, "in: text in UTF-32; convert it to UTF-8, as by iconv",
       ""},
      {"UTF-16 cut short", "\xff\xfe\x61\0,\0k\0\n"s, "in: text in UTF-16 with half a character",
       ""},
      {"UTF-16 without a mark", "a\0,\0k\0\n\0"s,
       "in: text in UTF-16 without a byte order mark; convert it to UTF-8, as by iconv -f UTF-16LE",
       ""},
      {"UTF-16 without a mark, great end first", "\0a\0,\0k\0\n"s,
       "in: text in UTF-16 without a byte order mark; convert it to UTF-8, as by iconv -f UTF-16BE",
       ""},
      {"bytes that are no UTF-8 among such", "a,k\n\xc3\xa9,p\n\xe9,q\n",
       "in: most of it is UTF-8, and some bytes are not; --encoding says how to take it", ""},
      {"nothing", "", "in: no rows", ""},
      {"a header alone", "a,k\n", "in: no rows below the header", "",
       [](settings& s) { s.layout.header = header_mode::present; }},
      {"one column", "a\nx\ny\n",
       "in: rows of one column, or of different lengths with every separator; name it by "
       "--separator",
       ""},
      {"a short row", "a,k\nx,p\ny\nz,q\n", "in:3: 1 cells instead of 2", "",
       [](settings& s) { s.layout.separator = ','; }},
      {"a long row", "a,k\nx,p\n\"y\nz\",q\ny,q,\n", "in:5: 3 cells instead of 2", "",
       [](settings& s) { s.layout.separator = ','; }},
      {"an open quote", "a,k\nx,p\n\"y,q\nz,p\n",
       "in:3: a quote that is opened here or before is never closed", "",
       [](settings& s) { s.layout.separator = ','; }},
      {"text behind a quote", "a,k\nx,p\n\"y\"z,q\n",
       "in:3: a quote inside a cell without quotes, or text behind a closing quote", "",
       [](settings& s) { s.layout.separator = ','; }},
      {"unknown class", "a,k\nx,p\ny,\ny,q\n",
       "in:3: column 'k': unknown class; --drop-unclassed leaves such rows out", ""},
      {"one class", "a,k\nx,p\ny,p\n", "in: column 'k': a class needs two different values", ""},
      {"a number for a class", "a,k\nx,1.5\ny,2.5\n",
       "in: column 'k': the last column is a number of many values; name the class by --class, or "
       "make ordered classes of it, as by --bins 4",
       ""},
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
       "a,k\nx_y,q\n\"u\nv\",p\n\"x\ny\",p\nu_v,q\n\"a\nb\",p\na_b,q\n",
       "in: column 'a': 'u\nv' would look as another value when written; see --replace", ""},
      {"two values written alike", "a,k\n\"x\ny\",p\nx\x01y,q\n",
       "in: column 'a': 'x\x01y' would look as another value when written; see --replace", ""},
      {"decimal commas found out", "a;b;k\n5,1;1;p\n4,9;2;q\n3;7;q\n",
       "a,double,continuous\nb,integer,continuous\nk,string,class\n", "5.1,1,p\n4.9,2,q\n3,7,q\n",
       [](settings& s) { s.columns.continuous = {"b"}; },
       "decimals behind ',', as in '5,1' (line 2)"},
      {"decimal commas without a header", "5,1;3,5;p\n4,9;3,0;q\n7;2,2;q\n",
       "column1,double,continuous\ncolumn2,double,continuous\ncolumn3,string,class\n",
       "5.1,3.5,p\n4.9,3.0,q\n7,2.2,q\n"},
      {"thousands", "a,k\n\"1,234,567\",p\n\"12,000.5\",q\n5,q\n",
       "a,double,continuous\nk,string,class\n", "1234567,p\n12000.5,q\n5,q\n", nothing,
       "thousands parted by ',', as in '1,234,567' (line 2)"},
      {"points between thousands, shown by another column",
       "a;b;k\n1.234,5;1.234;p\n2;999;q\n3;5.000;q\n",
       "a,double,continuous\nb,integer,continuous\nk,string,class\n",
       "1234.5,1234,p\n2,999,q\n3,5000,q\n"},
      {"blanks between thousands",
       "a,k\n-1 234,p\n12\xc2\xa0"
       "000,q\n5,q\n",
       number, "-1234,p\n12000,q\n5,q\n"},
      {"thousands or decimals", "a,k\n\"1,234\",p\n\"2,000\",q\n5,q\n",
       "a\tstring\tdiscrete\nk\tstring\tclass\n", "1,234\tp\n2,000\tq\n5\tq\n", nothing,
       "'1,234' (line 2) may be one of thousands or have decimals, kept as a text"},
      {"thousands as asked", "a,k\n\"1,234\",p\n\"2,000\",q\n5,q\n", number,
       "1234,p\n2000,q\n5,q\n", [](settings& s) { s.cells.thousands = ','; }},
      {"no marks between thousands as asked", "a,k\n1 234,p\n2 000,q\n5,q\n", two,
       "1 234,p\n2 000,q\n5,q\n", [](settings& s) { s.cells.thousands = '\0'; }},
      {"known spellings of unknown", "a,b,k\n1,x,p\nNaN,null,q\nNone,None,q\n7,y,p\n.,-,p\n5,y,p\n",
       "a,integer,continuous\nb,string,discrete\nk,string,class\n",
       "1,x,p\n?,?,q\n?,None,q\n7,y,p\n?,-,p\n5,y,p\n", nothing,
       "a value: 'None' (1), '-' (1); --also-unknown makes it unknown; unknown: 'null' (1)"},
      {"no unknown spellings but one", "a,k\nNA,p\nnone,q\n,q\n?,p\ny,q\n", two,
       "NA,p\n?,q\n?,q\n?,p\ny,q\n", [](settings& s) { s.cells.set_unknown({"none"}); }},
      {"an unknown text that no cell has", "a,k\nx,p\ny,q\n", two, "x,p\ny,q\n",
       [](settings& s) { s.cells.add_unknown({"-999"}); },
       "no cell is '-999', which is given as unknown\n"},
      {"counts and names of the classes in front", "3,1,lo,hi\n1,p\n5,q\n2,p\n",
       "column1,integer,continuous\ncolumn2,string,class\n", "1,p\n5,q\n2,p\n", nothing,
       "line 1 gives the numbers of rows and columns, passed over"},
      {"counts in front of a header", "3,1\na,k\n1,p\n5,q\n2,p\n", number, "1,p\n5,q\n2,p\n"},
      {"a row that is no counts", "4,1\n1,p\n5,q\n2,p\n",
       "column1,integer,continuous\ncolumn2,string,class\n", "4,1\n1,p\n5,q\n2,p\n"},
      {"nearly all numbers", "a,k\n" + repeated("1,p\n2,q\n3,q\n", 12) + "abc,p\n", two,
       repeated("1,p\n2,q\n3,q\n", 12) + "abc,p\n", nothing,
       "97.30 % are numbers, but not 'abc' (line 38): --also-unknown 'abc'"},
      {"nearly all numbers, all different",
       "a,k\n1.5,p\n2.5,p\n3.5,p\n" + counted_up(30) + "abc,p\n", "a,null,ignore\nk,string,class\n",
       repeated("?,p\n", 3) + repeated("?,q\n", 30) + "?,p\n", nothing,
       "different in every row, left out; 97.06 % are numbers, but not 'abc' (line 35)"},
      {"equal names", "x,y,x,x.2\n1,2,3,u\n4,5,6,v\n2,2,3,v\n",
       "x,integer,continuous\ny,string,discrete\nx.3,string,discrete\nx.2,string,class\n",
       "1,2,3,u\n4,5,6,v\n2,2,3,v\n", [](settings& s) { s.columns.continuous = {"x"}; },
       "with a header"},
      {"comments in front", "# made\n# by \"hand\na,k\nx,p\ny,q\n", two, "x,p\ny,q\n", nothing,
       "lines 1 to 2 are comments, passed over"},
      {"a header like a comment", "# made\n#a,k\n1,p\n5,q\n7,q\n",
       "#a,integer,continuous\nk,string,class\n", "1,p\n5,q\n7,q\n",
       [](settings& s) { s.columns.continuous = {"#a"}; }},
      {"a comment among rows", "a,k\nx,p\n# y\ny,q\nz,q\n",
       "in:3: 1 cells instead of 2; --comment '#' passes over such lines", ""},
      {"comments passed over", "a,k\n\"x\n#\",p\n#\"y,,\ny,q\n", two, "x_#,p\ny,q\n",
       [](settings& s) { s.layout.comment = '#'; },
       "1 values with line ends or separators, written with '_'"},
      {"runs of blanks", "a   k\n 1  p\n22  q \n\n3   q\n", number, "1,p\n22,q\n3,q\n",
       [](settings& s) { s.columns.continuous = {"a"}; }, "separator blanks"},
      {"rows that end with a separator", "a,k\nx,p,\ny,q,\n", two, "x,p\ny,q\n", nothing,
       "rows end with a separator: no column behind it"},
      {"a cell behind last separators", "a,k,\nx,p,\ny,q,\n" + repeated("y,q,\n", 100) + "y,q,1\n",
       "in:104: 3 cells instead of 2", ""},
      {"a short row, no separator given", "a,b,k\nx,y,p\ny,q\nz,y,q\n",
       "in:3: 2 cells instead of 3", ""},
      {"a long header", "a,b,k\nx,p\ny,q\n", "in:1: a header of 3 names over rows of 2 cells", "",
       [](settings& s) { s.layout.separator = ','; }},
      {"Latin-1", "a,k\nx,p\nna\xefve \x80,q\n", two, "x,p\nna\xc3\xafve \xe2\x82\xac,q\n", nothing,
       "no UTF-8 (first in line 3): read as CP1252 (Latin-1)"},
      {"values and names with commas", "\"a,b\";k\nx,1;p\n\"y\t2\";q\n",
       "a,b;string;discrete\nk;string;class\n", "x,1;p\ny\t2;q\n", nothing,
       "written with ';' between the cells: orvcmd -sep ';'"},
      {"values with every separator", "a,k\n\",\t;|\",p\ny,q\n",
       "a\x1fstring\x1f"
       "discrete\nk\x1fstring\x1f"
       "class\n",
       ",\t;|\x1fp\ny\x1fq\n", nothing, "orvcmd -sep $'\\x1f'"},
      {"a quantity as the class", "a,k\nx,3\ny,4\nx,9\n", two, "x,3\ny,4\nx,9\n", nothing,
       "3 classes: this looks like a quantity; Orvik predicts classes: --bins 4"},
      // Cells up to 1, 2, 5, 9: 2, 5, 6, 8; of these 2, 5 and 6 are nearest to 2, 4 and 6.
      // and 5.
      {"bins of equal frequency", "a,k\nx,1\nx,2\nx,2\nx,2\ny,1\ny,5\ny,9\ny,9\n",
       "a,string,discrete\nk,ostring:<=1;1-2;2-5;>5,class\n",
       "x,<=1\nx,1-2\nx,1-2\nx,1-2\ny,<=1\ny,2-5\ny,>5\ny,>5\n",
       [](settings& s) { s.columns.classes = bins_of("4"); },
       "<=1 (2), 1-2 (3), 2-5 (1), >5 (2); a value equal to a cut is in the class below it"},
      // Of 8 cases 4 are nearest to the 3 up to 3.
      {"bins of equal frequency by frequencies", "w,a,k\n1,x,1\n1,y,2\n1,x,3\n5,y,4\n0,y,9\n",
       "w,double,weights\na,string,discrete\nk,ostring:<=3;>3,class\n",
       "1,x,<=3\n1,y,<=3\n1,x,<=3\n5,y,>3\n0,y,>3\n",
       [](settings& s) {
         s.columns.weights_column = "w";
         s.columns.frequencies = true;
         s.columns.classes = bins_of("2");
       },
       "<=3 (3), >3 (5); a value"},
      {"bins at cuts", "a;k\nx;-1,5\nx;100000\ny;0,5\n",
       "a,string,discrete\nk,ostring:<=-1.5;-1.5..100000;>100000,class\n",
       "x,<=-1.5\nx,-1.5..100000\ny,-1.5..100000\n",
       [](settings& s) { s.columns.classes = bins_of("-1.5,1e5"); }, ">100000 (0)"},
      {"a class in an order", "a,k\nx,lo\ny,hi\n", "a,string,discrete\nk,ostring:lo;hi,class\n",
       "x,lo\ny,hi\n",
       [](settings& s) {
         s.columns.ordered["k"] = {"lo", "hi"};
       }},
      {"weights", "w,a,k\n2,x,p\n5,y,q\n2,y,q\n",
       "w,double,weights\na,string,discrete\nk,string,class\n", "2,x,p\n5,y,q\n2,y,q\n",
       [](settings& s) { s.columns.weights_column = "w"; },
       "scaled to sum to the rows; --frequencies says"},
      {"frequencies", "w,a,k\n2,x,p\n5,y,q\n2,y,q\n",
       "w,double,weights\na,string,discrete\nk,string,class\n", "2,x,p\n5,y,q\n2,y,q\n",
       [](settings& s) {
         s.columns.weights_column = "w";
         s.columns.frequencies = true;
       },
       "9 cases in 3 rows, which orvcmd -norescale keeps"},
      {"a frequency that is no count", "w,k\n1.5,p\n2,q\n",
       "in: column 'w': a frequency is no whole number: 1.5", "",
       [](settings& s) {
         s.columns.weights_column = "w";
         s.columns.frequencies = true;
       }},
      {"frequencies of nothing", "a,k\nx,p\ny,q\n",
       "in: --frequencies has no effect without --weights", "",
       [](settings& s) { s.columns.frequencies = true; }},
      {"a continuous class", "a,k\nx,1\ny,2\n",
       "in: column 'k': --continuous has no effect on the class; --bins makes ordered classes of "
       "its numbers",
       "", [](settings& s) { s.columns.continuous = {"k"}; }},
      {"two wishes for a column", "a,k\nx,p\ny,q\n",
       "in: column 'a': --discrete has no effect beside --ignore", "",
       [](settings& s) { s.columns.discrete = s.columns.ignored = {"a"}; }},
      {"bins of texts", "a,k\nx,1\ny,q\n", "in: column 'k': --bins: not a number: 'q' (line 3)", "",
       [](settings& s) { s.columns.classes = bins_of("4"); }},
  };
  return rows;
}

TEST_F(conversions, of_awkward_files) {
  for (const awkward& row : awkward_files()) {
    SCOPED_TRACE(row.what);
    write("in", row.file);
    settings how = plain();
    row.with(how);
    said_.str("");
    const std::string error = error_of_converting(how);
    if (row.data.empty()) {
      EXPECT_EQ(error, row.names);
      EXPECT_EQ(n_files(), "1") << "nothing is written";
    } else {
      EXPECT_EQ(error, "");
      EXPECT_EQ(read("out.names"), row.names);
      EXPECT_EQ(read("out.data"), row.data);
      EXPECT_EQ(n_files(), "3");
      EXPECT_NE(said_.str().find(row.said), std::string::npos) << said_.str();
    }
    for (const char* name : {"out.names", "out.data"}) fs::remove(name);
  }
}

/// Texts long enough that characters of 2, 3 and 4 bytes are cut at the ends of blocks.
TEST_F(conversions, read_one_text_in_every_encoding) {
  const auto written = [](const std::string& e, const std::string& sign, bool wide) {
    std::string file = wide ? "\xff\xfe" : "";
    for (const char c : "a,k\n" + repeated("E,S\nEE,x\n", 60000)) {
      file += c == 'E' ? e : c == 'S' ? sign : wide ? std::string{c, '\0'} : std::string{c};
    }
    return file;
  };
  const auto becomes = [&](const std::string& file, const std::string& text) {
    write("in", file);
    convert(plain(), said_);
    EXPECT_TRUE(read("out.data") == text.substr(4));  // too long to be shown
  };
  const std::string smiles = written("\xc3\xa9", "\xf0\x9f\x98\x80", false);
  becomes(smiles, smiles);
  becomes(written("\xe9\0"s, "\x3d\xd8\x00\xde"s, true), smiles);
  becomes(written("\xe9", "\x80", false), written("\xc3\xa9", "\xe2\x82\xac", false));
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
                           "1 values with line ends or separators, written with '_'"}) {
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

TEST_F(conversions, read_a_second_file_as_the_first) {
  write("in", "a;b;k\n1,5;u;1\n-;v;2\n2;u;3\n");
  write("test", "k\tb\ta\n2\tu,v\t1234,5\n\tv\tNone\n7,5\tv\t2,25\n");
  settings how = plain();
  how.test = "test";
  how.drop_unclassed = true;
  how.columns.classes = bins_of("1,2");
  convert(how, said_);
  EXPECT_EQ(read("out.names"),
            "a\tdouble\tcontinuous\nb\tstring\tdiscrete\nk\tostring:<=1;1-2;>2\tclass\n");
  EXPECT_EQ(read("out.data"), "1.5\tu\t<=1\n?\tv\t1-2\n2\tu\t>2\n");
  EXPECT_EQ(read("out.test"), "1234.5\tu,v\t1-2\n2.25\tv\t>2\n");
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
  how.layout.separator = ',';
  EXPECT_EQ(error_of_converting(how), "in:4: 1 cells instead of 2");
  EXPECT_EQ(read("out.data"), "older");
}

}  // namespace
}  // namespace orvprep
