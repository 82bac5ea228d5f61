// What the verbs say of their options, and the command line that is read by it.
//
// A verb declares every option once: its names, where its argument goes, and its help. From this
// come the parser, the help, the nearest name to a mistyped one, and the completions of the shells.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace orvverbs {

/// A command line that cannot be understood.
class usage_error : public std::runtime_error {
 public:
  using runtime_error::runtime_error;
};

/// What completions offer for the argument of an option.
enum class argument : unsigned char { none, file, free, choice };

struct declared_option {
  std::vector<std::string> names;  ///< "-o", "--output"
  argument takes = argument::none;
  std::vector<std::string> choices;
  std::string help;
};

/// The options of one verb.
class options {
 public:
  options(const std::string& program, const std::string& summary);
  ~options();
  options(const options&) = delete;
  options& operator=(const options&) = delete;

  /// Options from here on stand under this title in the help.
  void group(const std::string& title) { group_ = title; }

  // `names` as in "-o,--output"; `type` says in the help what the argument is.
  void flag(const std::string& names, bool& to, const std::string& help);
  void text(const std::string& names, std::string& to, const std::string& type,
            const std::string& help);
  void file(const std::string& names, std::string& to, const std::string& help);
  /// Words with commas between them.
  void list(const std::string& names, std::vector<std::string>& to, const std::string& type,
            const std::string& help);
  /// An option that may come again.
  void repeated(const std::string& names, std::vector<std::string>& to, const std::string& type,
                const std::string& help);
  void choice(const std::string& names, std::string& to, const std::vector<std::string>& among,
              const std::string& help);
  void number(const std::string& names, unsigned long& to, unsigned long least, unsigned long most,
              const std::string& help);
  void real(const std::string& names, double& to, double least, double most,
            const std::string& help);
  /// An argument without a name.
  void positional(const std::string& name, std::string& to, const std::string& help,
                  bool required = true);
  /// What stands below the options.
  void examples(const std::string& text);

  /// @return whether the verb is to be run; without, its help was asked for and is shown.
  /// Throws usage_error.
  bool parse(const std::vector<std::string>& words);
  /// Those that were parsed.
  const std::vector<std::string>& words() const { return words_; }
  std::string help() const;
  const std::vector<declared_option>& declared() const { return declared_; }
  /// Whether the option of this name was given.
  bool given(const std::string& name) const;

 private:
  CLI::Option* note(CLI::Option* option, argument takes, std::vector<std::string> choices = {});
  void require_known(const std::vector<std::string>& words) const;

  std::string program_;
  std::vector<std::string> words_;
  std::unique_ptr<CLI::App> app_;
  std::vector<declared_option> declared_;
  std::string group_ = "Options";
};

/// Something that the program does.
class verb {
 public:
  virtual ~verb() = default;
  virtual const char* name() const = 0;
  /// A line for the list of all verbs.
  virtual const char* summary() const = 0;
  virtual void declare(options& all) = 0;
  /// Throws usage_error for options that do not fit together, and std::runtime_error.
  virtual void run() = 0;
};

using verbs = std::vector<std::unique_ptr<verb>>;

/// A shell's completion script of the program with all its verbs. Throws usage_error for a shell
/// other than bash, zsh and fish.
std::string completion_for(const std::string& shell, const verbs& all);

}  // namespace orvverbs
