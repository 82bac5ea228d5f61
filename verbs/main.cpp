// The program: a verb and its options in, exit status out. 0 for success, 1 for work that failed, 2
// for a command line that cannot be understood. Results go to standard output, messages to the
// standard error stream.
#include <algorithm>
#include <csignal>
#include <iostream>
#include <new>

#include "command_line.h"
#include "files.h"
#include "orvik/orvik.h"
#include "verbs.h"
#include "zel/inpout/replacing_file.h"
#include "zel/text/message.h"
#include "zel/util/progress_display.h"

namespace {

using namespace orvverbs;

constexpr int k_failed = 1;
constexpr int k_misused = 2;

verbs all_verbs() {
  verbs all;
  for (const auto make :
       {new_train, new_predict, new_test, new_view, new_prep, new_select, new_compare}) {
    all.push_back(make());
  }
  return all;
}

void show_verbs(const verbs& all, std::ostream& out) {
  out << "Grows, tests, applies and shows classification trees and forests.\n"
         "Usage: orvik VERB [options...]\n\nVerbs:\n";
  for (const auto& each : all) {
    const std::string name = each->name();
    out << "  " << name << std::string(12 - name.size(), ' ') << each->summary() << '\n';
  }
  out << "  completion  a script for the completions of bash, zsh or fish\n\n"
         "orvik VERB --help tells of its options.\n\n"
         "Examples:\n"
         "  orvik train people.csv --class buys -o people.orvik\n"
         "  orvik predict people.orvik new.csv -o scores.csv\n";
}

[[noreturn]] void refuse_verb(const std::string& word, const verbs& all) {
  std::vector<std::string> names{"completion"};
  for (const auto& each : all) names.emplace_back(each->name());
  const std::string near = nearest(word, names);
  throw usage_error("no verb '" + word + "'" +
                    (near.empty() ? "" : "; did you mean " + near + "?"));
}

int run(const std::vector<std::string>& words, std::string& program) {
  const verbs all = all_verbs();
  if (words.empty()) {
    show_verbs(all, std::cerr);
    return k_misused;
  }
  if (words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
    show_verbs(all, std::cout);
  } else if (words[0] == "--version") {
    std::cout << "orvik " << orvik::get_version() << '\n';
  } else if (words[0] == "completion") {
    std::cout << completion_for(words.size() == 2 ? words[1] : "", all);
  } else {
    const auto found =
        std::ranges::find_if(all, [&words](const auto& each) { return each->name() == words[0]; });
    if (found == all.end()) refuse_verb(words[0], all);
    verb& chosen = **found;
    program += std::string(" ") + chosen.name();
    options declared(program, chosen.summary());
    chosen.declare(declared);
    if (declared.parse({words.begin() + 1, words.end()})) {
      const zel::util::progress::display progress(/*shown=*/true);
      chosen.run();
    }
  }
  flush_standard_output();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  zel::inpout::end_on_interrupts();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::string program = "orvik";
  try {
    return run({argv + 1, argv + argc}, program);
  } catch (const usage_error& error) {
    std::cerr << program << ": " << zel::text::one_line(error.what()) << "\n"
              << program << " --help shows what there is.\n";
    return k_misused;
  } catch (const closed_pipe&) {
    return 128 + SIGPIPE;
  } catch (const std::bad_alloc&) {
    std::cerr << program << ": out of memory\n";
  } catch (const std::exception& error) {
    std::cerr << program << ": " << zel::text::one_line(error.what()) << '\n';
  } catch (const std::runtime_error* error) {
    const std::unique_ptr<const std::runtime_error> owned(error);
    std::cerr << program << ": " << zel::text::one_line(owned->what()) << '\n';
  }
  return k_failed;
}
