// The program: options in, exit status out. 0 for success, 1 for a file that cannot be read or
// written, 2 for a command line that cannot be understood.
#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <new>
#include <string_view>

#include "forms.h"
#include "model_file.h"
#include "orvik/orvik.h"
#include "report.h"
#include "rules.h"
#include "zel/inpout/replacing_file.h"

namespace {

using orvview::chosen_tree;
using orvview::opened;

constexpr int k_bad_file = 1;
constexpr int k_bad_usage = 2;
constexpr char k_no_such_tree[] = ": there is no such tree; the model has ";
constexpr char k_cannot_write[] = "cannot write to ";
constexpr char k_same_file[] = ": it is the same file as ";
constexpr unsigned long k_default_width = 80;

/// What the command line asks for.
struct settings {
  orvview::sources from;
  std::string output;
  bool html = false, svg = false, cpp = false, python = false, summary = false;
  std::string rules;       // the form; empty: none
  unsigned long tree = 0;  // from 1; 0: none is chosen
  unsigned long depth = orvik::k_all_levels;
  std::string relation = "cases";
  std::string color = "auto", separator = ",";
  bool writes_report() const { return !svg && !cpp && !python && !summary && rules.empty(); }
};

void describe_forms(CLI::App& app, settings& how) {
  CLI::Option_group* forms = app.add_option_group("Forms", "at most one; --html is the default");
  forms->add_flag("--html", how.html, "a report to be opened in a browser");
  forms->add_flag("--svg", how.svg, "a picture of a tree");
  forms->add_option("--rules", how.rules, "the rules of a tree")
      ->type_name("FORM")
      ->check(CLI::IsMember({"text", "csv", "sql", "json"}));
  forms->add_flag("--cpp", how.cpp, "a C++17 source that predicts");
  forms->add_flag("--python", how.python, "a Python 3 module that predicts");
  forms->add_flag("--summary", how.summary, "the tree on a terminal");
  forms->require_option(0, 1);
}

void describe(CLI::App& app, settings& how) {
  app.set_version_flag("--version", std::string("orvview ") + orvik::get_version());
  app.add_option("MODEL", how.from.model, "a model that orvcmd -tb wrote")->required();
  app.add_option("-o,--output", how.output, "where to write; - for standard output")
      ->type_name("FILE");
  describe_forms(app, how);
  app.add_option("--tree", how.tree, "which tree of an ensemble, from 1")
      ->type_name("K")
      ->check(CLI::PositiveNumber);
  app.add_option("--depth", how.depth, "levels of splits to show (--svg, --summary)")
      ->type_name("N");
  app.add_option("--table", how.relation, "the table of --rules sql")->type_name("NAME");
  app.add_option("--color", how.color, "colours of --summary: auto, always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  CLI::Option* names = app.add_option("--names", how.from.names, "metadata of rows for the report");
  CLI::Option* data = app.add_option("--data", how.from.data, "rows for the report");
  app.add_option("--seed", how.from.seed, "the -seed of the training run, to know its draws again")
      ->type_name("N")
      ->needs(data);
  names->type_name("FILE")->needs(data);
  data->type_name("FILE")->needs(names);
  app.add_option("-s,--separator", how.separator, "of --names and --data: a character or tab")
      ->type_name("CHAR");
  app.footer(
      "The report of x.tree goes to x.html in the current folder, other forms to standard output.\n"
      "Exit status: 0, 1 for a file that cannot be read or written, 2 for a bad command line.\n"
      "See orvview(1).");
}

void interpret(settings& how) {
  if (how.separator == "tab" || how.separator == "\\t") how.separator = "\t";
  if (how.separator.size() != 1) {
    throw CLI::ValidationError("--separator", "is neither a character nor tab");
  }
  how.from.separator = how.separator[0];
  if (!how.output.empty()) return;
  namespace fs = std::filesystem;
  how.output = how.writes_report()
                   ? fs::path(how.from.model).filename().replace_extension(".html").string()
                   : "-";
}

unsigned long window_width() {
  winsize window{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0) return window.ws_col;
  const char* const columns = std::getenv("COLUMNS");
  const unsigned long width = columns == nullptr ? 0 : std::strtoul(columns, nullptr, 10);
  return width == 0 ? k_default_width : width;
}

/// Whether the locale's encoding is UTF-8.
bool shows_unicode() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string_view locale(value);
    return locale.find("UTF-8") != locale.npos || locale.find("utf8") != locale.npos;
  }
  return false;
}

orvview::terminal terminal_for(const settings& how) {
  const bool shown = how.output == "-" && isatty(STDOUT_FILENO) == 1;
  const bool plain = std::getenv("NO_COLOR") != nullptr;
  return {window_width(), how.color == "always" || (how.color == "auto" && shown && !plain),
          shows_unicode()};
}

void write_rules(const settings& how, const chosen_tree& chosen, std::ostream& out) {
  if (how.rules == "sql") return orvview::write_sql(chosen, how.relation, out);
  using writer = void (*)(const chosen_tree&, std::ostream&);
  static const std::map<std::string, writer> writers{{"text", orvview::write_rules_text},
                                                     {"csv", orvview::write_rules_csv},
                                                     {"json", orvview::write_rules_json}};
  writers.at(how.rules)(chosen, out);
}

void write_form(const settings& how, const opened& found, std::ostream& out) {
  const chosen_tree chosen{*found.model, how.tree == 0 ? orvview::k_whole_model : how.tree - 1};
  if (how.svg) return orvview::write_svg(chosen, how.depth, out);
  if (how.cpp) return orvview::write_cpp(*found.model, out);
  if (how.python) return orvview::write_python(*found.model, out);
  if (how.summary) return orvview::write_summary(chosen, how.depth, terminal_for(how), out);
  if (!how.rules.empty()) return write_rules(how, chosen, out);
  const std::string title = std::filesystem::path(how.from.model).filename().string();
  orvview::write_html_report(*found.model, title, found.rows.get(), out);
}

/// Refuses to write over what is read, under whatever name.
void require_other_file(const settings& how) {
  std::error_code error;  // of files that are not there, and then are no input
  for (const std::string& input : {how.from.model, how.from.names, how.from.data}) {
    if (!std::filesystem::equivalent(input, how.output, error)) continue;
    throw std::runtime_error(k_cannot_write + how.output + k_same_file + input);
  }
}

/// The file appears when it is whole.
void write_file(const settings& how, const opened& found) {
  try {
    zel::inpout::replacing_file file(how.output);
    std::ofstream out(file.path(), std::ios::binary | std::ios::trunc);
    write_form(how, found, out);
    out.close();
    if (!out) throw std::runtime_error(std::strerror(errno));
    file.commit();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(k_cannot_write + how.output + ": " + failure.what());
  }
}

void run(const settings& how) {
  const opened found = orvview::open_sources(how.from);
  const unsigned long n = found.model->get_no_trees();
  if (how.tree > n) {
    throw std::runtime_error("--tree " + std::to_string(how.tree) + k_no_such_tree +
                             std::to_string(n));
  }
  if (how.output != "-") {
    require_other_file(how);
    return write_file(how, found);
  }
  write_form(how, found, std::cout);
  if (!std::cout.flush()) throw std::runtime_error(k_cannot_write + std::string("standard output"));
}

int run(int argc, char** argv) {
  CLI::App app("Shows a model of orvcmd: as a report, pictures, rules and programs.");
  settings how;
  describe(app, how);
  try {
    app.parse(argc, argv);
    interpret(how);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : k_bad_usage;
  }
  run(how);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // A size limit is an error like others. A reader that has seen enough, such as head, is none: the
  // signal of its pipe ends the program.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    std::cerr << "orvview: out of memory\n";
  } catch (const std::exception& error) {
    std::cerr << "orvview: " << error.what() << '\n';
  }
  return k_bad_file;
}
