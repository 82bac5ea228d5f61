// The program: options in, exit status out. 0 for success, 1 for a file that cannot be converted, 2
// for a command line that cannot be understood.
#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>
#include <new>

#include "conversion.h"
#include "orvik/orvik.h"
#include "zel/text/message.h"

namespace {

using orvprep::settings;

constexpr int k_bad_file = 1;
constexpr int k_bad_usage = 2;

char separator_of(const std::string& word) {
  if (word == "tab" || word == "\\t") return '\t';
  if (word == "auto" || word.empty()) return 0;
  if (word.size() > 1) throw CLI::ValidationError("separator", word + " is not one character");
  return word[0];
}

/// "column=a<b<c"
void add_order(const std::string& word, orvprep::column_wishes& columns) {
  const std::size_t equals = word.find('=');
  if (equals == word.npos) throw CLI::ValidationError("--ordered", word + " is not COLUMN=A<B<C");
  std::vector<std::string>& values = columns.ordered[word.substr(0, equals)];
  std::string rest = word.substr(equals + 1);
  for (std::size_t end; (end = rest.find('<')) != rest.npos; rest.erase(0, end + 1)) {
    values.push_back(rest.substr(0, end));
  }
  values.push_back(rest);
}

/// What the option words are before they are looked at.
struct words {
  std::string header = "auto", separator = "auto", out_separator = "auto", decimal = "auto";
  std::string thousands = "auto", encoding = "auto", comment, bins;
  std::vector<std::string> also_unknown, ordered;
  std::optional<std::vector<std::string>> unknown;
};

void describe(CLI::App& app, settings& how, words& raw) {
  app.set_version_flag("--version", "orvprep " + std::string(orvik::get_version()));
  app.add_option("FILE", how.input, "delimited file, plain or gzip; - for standard input")
      ->required();
  app.add_option("-o,--output", how.output, "write PREFIX.names and PREFIX.data")
      ->required()
      ->type_name("PREFIX");
  app.add_option("--test", how.test, "a second file, written as PREFIX.test in the same form")
      ->type_name("FILE");
  app.add_option("-c,--class", how.columns.class_column, "the class; else the last column")
      ->type_name("COLUMN");
  app.add_option("-w,--weights", how.columns.weights_column, "case weights")->type_name("COLUMN");
  const auto columns = [&app](const char* name, std::vector<std::string>& to, const char* text) {
    app.add_option(name, to, text)
        ->type_name("COLUMN,...")
        ->delimiter(',')
        ->allow_extra_args(false);
  };
  columns("-i,--ignore", how.columns.ignored, "columns to leave out");
  columns("--discrete", how.columns.discrete, "columns to be taken as names");
  columns("--continuous", how.columns.continuous, "columns to be taken as numbers");
  app.add_option("--ordered", raw.ordered, "a column of ordered values: COLUMN=A<B<C")
      ->type_name("ORDER")
      ->allow_extra_args(false);
  app.add_option_function<std::vector<std::string>>(
         "-u,--unknown", [&](const std::vector<std::string>& texts) { raw.unknown = texts; },
         "texts for an unknown value, in place of the known ones")
      ->type_name("TEXT,...")
      ->delimiter(',')
      ->allow_extra_args(false);
  app.add_option("--also-unknown", raw.also_unknown, "further texts for an unknown value")
      ->type_name("TEXT,...")
      ->delimiter(',')
      ->allow_extra_args(false);
  app.add_flag("--drop-unclassed", how.drop_unclassed, "leave rows of unknown class out");
  app.add_option("-s,--separator", raw.separator, "of FILE: a character, tab or auto")
      ->type_name("CHAR");
  app.add_option("--header", raw.header, "whether the first row has the names of the columns")
      ->check(CLI::IsMember({"auto", "yes", "no"}));
  app.add_option("--decimal", raw.decimal, "decimal point of FILE: . or , or auto")
      ->check(CLI::IsMember({".", ",", "auto"}));
  app.add_option("--thousands", raw.thousands,
                 "mark between thousands: one of . , ' blank none auto")
      ->check(CLI::IsMember({".", ",", "'", "blank", "none", "auto"}));
  app.add_option("--encoding", raw.encoding, "of FILE: utf-8, cp1252 (Latin-1) or auto")
      ->check(CLI::IsMember({"utf-8", "cp1252", "auto"}));
  app.add_option("--comment", raw.comment, "pass over lines that begin with it")->type_name("CHAR");
  app.add_option("--bins", raw.bins, "ordered classes of numbers: how many, or cuts")
      ->type_name("N|CUT,...");
  app.add_flag("--frequencies", how.columns.frequencies, "the weights are numbers of cases");
  app.add_option("--out-separator", raw.out_separator, "of what is written")->type_name("CHAR");
  app.add_option("--replace", how.cells.replacement,
                 "what stands for separators and line ends inside a value")
      ->type_name("TEXT");
  app.add_flag("-q,--quiet", how.quiet, "no table of the columns");
  app.footer(
      "COLUMN is a name or a number from 1. Exit status: 0, 1 for a file that cannot be\n"
      "converted, 2 for a bad command line. See orvprep(1).");
}

void interpret(const words& raw, settings& how) {
  how.layout.separator = separator_of(raw.separator);
  how.layout.header = raw.header == "yes"  ? orvprep::header_mode::present
                      : raw.header == "no" ? orvprep::header_mode::absent
                                           : orvprep::header_mode::find_out;
  how.layout.comment = separator_of(raw.comment);
  if (raw.decimal != "auto") how.layout.decimal_point = how.cells.decimal_point = raw.decimal[0];
  if (raw.thousands == "none") {
    how.cells.thousands = '\0';
  } else if (raw.thousands != "auto") {
    how.cells.thousands = raw.thousands == "blank" ? ' ' : raw.thousands[0];
  }
  if (raw.encoding != "auto") {
    how.encoded = raw.encoding == "utf-8" ? orvprep::encoding::utf8 : orvprep::encoding::cp1252;
  }
  if (raw.unknown) how.cells.set_unknown(*raw.unknown);
  how.cells.add_unknown(raw.also_unknown);
  if (!raw.bins.empty()) how.columns.classes = orvprep::bins_of(raw.bins);
  for (const std::string& order : raw.ordered) add_order(order, how.columns);
  how.cells.out_separator = separator_of(raw.out_separator);
  if (how.cells.breaks_form(how.cells.replacement)) {
    throw CLI::ValidationError("--replace", "holds what it is to replace");
  }
}

int run(int argc, char** argv) {
  CLI::App app("Makes a table for orvcmd of a delimited file: PREFIX.names and PREFIX.data.");
  settings how;
  words raw;
  describe(app, how, raw);
  try {
    app.parse(argc, argv);
    interpret(raw, how);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : k_bad_usage;
  }
  static_cast<void>(orvprep::convert(how, std::cout));
  std::cout << std::flush;
  if (std::cout.good()) return 0;
  std::cerr << "orvprep: cannot write to standard output\n";
  return k_bad_file;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    std::cerr << "orvprep: out of memory\n";
  } catch (const std::exception& error) {
    std::cerr << "orvprep: " << zel::text::one_line(error.what()) << '\n';
  }
  return k_bad_file;
}
