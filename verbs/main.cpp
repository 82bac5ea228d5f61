// The program: a verb and its options in, exit status out. 0 for success, 1 for work that failed, 2
// for a command line that cannot be understood. Results go to standard output, messages to the
// standard error stream.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "command_line.h"
#include "files.h"
#include "orvik/orvik.h"
#include "verbs.h"
#include "zel/inpout/replacing_file.h"
#include "zel/text/message.h"
#include "zel/text/nearest_name.h"
#include "zel/util/progress_display.h"

namespace {

using namespace orvverbs;
using namespace std::string_view_literals;

constexpr int k_failed = 1;
constexpr int k_misused = 2;
constexpr char k_lost_page[] = "orvik: a table in use was cut, or cannot be read any more\n";
constexpr char k_out_of_memory[] = "out of memory";

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
  const std::string near = zel::text::nearest_name(word, names);
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

/// What the exception that is being handled says.
std::string current_error() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return k_out_of_memory;
  } catch (const std::system_error& error) {
    const bool memory = error.code() == std::errc::not_enough_memory;
    return memory ? k_out_of_memory : zel::text::one_line(error.what());
  } catch (const std::exception& error) {
    return zel::text::one_line(error.what());
  } catch (const std::runtime_error* error) {
    const std::unique_ptr<const std::runtime_error> owned(error);
    return zel::text::one_line(owned->what());
  }
}

std::string error_of_terminate() noexcept {
  try {
    if (std::current_exception() != nullptr) return current_error();
  } catch (...) {  // for its text
  }
  return k_out_of_memory;
}

/// Ends the process where no handler can: an error in a thread of the scheduler, as when there is
/// no memory for it.
[[noreturn]] void end_at_terminate() {
  const std::string text = error_of_terminate();
  for (const std::string_view part :
       {std::string_view("orvik: "), std::string_view(text), "\n"sv}) {
    static_cast<void>(!write(STDERR_FILENO, part.data(), part.size()));
  }
  zel::inpout::remove_unfinished();
  std::_Exit(k_failed);
}

}  // namespace

int main(int argc, char** argv) {
  zel::inpout::end_on_interrupts();
  std::set_terminate(end_at_terminate);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  zel::inpout::end_on_lost_pages(STDERR_FILENO, k_lost_page, k_failed);
  std::string program = "orvik";
  try {
    return run({argv + 1, argv + argc}, program);
  } catch (const usage_error& error) {
    std::cerr << program << ": " << zel::text::one_line(error.what()) << "\n"
              << program << " --help shows what there is.\n";
    return k_misused;
  } catch (const closed_pipe&) {
    return 128 + SIGPIPE;
  } catch (...) {
    std::cerr << program << ": " << current_error() << '\n';
  }
  return k_failed;
}
