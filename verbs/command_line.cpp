#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "orvik/orvik.h"
#include "zel/text/nearest_name.h"

namespace orvverbs {

namespace {

std::string range_of(const std::string& least, const std::string& most) {
  return "must be from " + least + " to " + most;
}

}  // namespace

options::options(const std::string& program, const std::string& summary)
    : program_(program), app_(std::make_unique<CLI::App>(summary, program)) {
  const auto note_help = [this](CLI::Option* o) { note(o, argument::none); };
  note_help(app_->set_help_flag("-h,--help", "this help"));
  note_help(app_->set_version_flag("--version", "orvik " + std::string(orvik::get_version())));
}

options::~options() = default;

CLI::Option* options::note(CLI::Option* option, argument takes, std::vector<std::string> choices) {
  option->group(group_);
  declared_option d{{}, takes, std::move(choices), option->get_description()};
  for (const std::string& name : option->get_snames()) d.names.push_back("-" + name);
  for (const std::string& name : option->get_lnames()) d.names.push_back("--" + name);
  declared_.push_back(std::move(d));
  return option;
}

void options::flag(const std::string& names, bool& to, const std::string& help) {
  note(app_->add_flag(names, to, help), argument::none);
}

void options::text(const std::string& names, std::string& to, const std::string& type,
                   const std::string& help) {
  note(app_->add_option(names, to, help), argument::free)->type_name(type);
}

void options::file(const std::string& names, std::string& to, const std::string& help) {
  note(app_->add_option(names, to, help), argument::file)->type_name("FILE");
}

void options::list(const std::string& names, std::vector<std::string>& to, const std::string& type,
                   const std::string& help) {
  note(app_->add_option(names, to, help), argument::free)
      ->type_name(type + ",...")
      ->delimiter(',')
      ->allow_extra_args(false);
}

void options::repeated(const std::string& names, std::vector<std::string>& to,
                       const std::string& type, const std::string& help) {
  note(app_->add_option(names, to, help), argument::free)->type_name(type)->allow_extra_args(false);
}

void options::choice(const std::string& names, std::string& to,
                     const std::vector<std::string>& among, const std::string& help) {
  note(app_->add_option(names, to, help), argument::choice, among)
      ->check([names, among](const std::string& word) {
        if (std::ranges::find(among, word) != among.end()) return std::string();
        const std::string near = zel::text::nearest_name(word, among);
        std::string text = "'" + word + "' is none of";
        for (const std::string& each : among) text += (each == among[0] ? " " : ", ") + each;
        return text + (near.empty() ? "" : "; did you mean " + near + "?");
      });
  app_->get_option(declared_.back().names.back())->type_name(among.size() > 5 ? "NAME" : [&] {
    std::string text;
    for (const std::string& each : among) text += (text.empty() ? "" : "|") + each;
    return text;
  }());
}

void options::number(const std::string& names, unsigned long& to, unsigned long least,
                     unsigned long most, const std::string& help) {
  const std::string range = range_of(std::to_string(least), std::to_string(most));
  note(app_->add_option_function<std::string>(
           names,
           [&to, least, most, range, names](const std::string& word) {
             const bool digits =
                 !word.empty() && word.size() < 21 &&
                 std::ranges::all_of(word, [](char c) { return c >= '0' && c <= '9'; });
             unsigned long value = 0;
             if (!digits || !CLI::detail::lexical_cast(word, value) || value < least ||
                 value > most) {
               throw CLI::ValidationError(names, "'" + word + "' " + range);
             }
             to = value;
           },
           help),
       argument::free)
      ->type_name("N");
}

void options::real(const std::string& names, double& to, double least, double most,
                   const std::string& help) {
  std::ostringstream range;
  range << least << " to " << most;
  note(app_->add_option_function<double>(
           names,
           [&to, least, most, names, text = range.str()](double value) {
             if (!(value >= least && value <= most)) {
               throw CLI::ValidationError(names, "must be from " + text);
             }
             to = value;
           },
           help),
       argument::free)
      ->type_name("X");
}

void options::positional(const std::string& name, std::string& to, const std::string& help,
                         bool required) {
  app_->add_option(name, to, help)->required(required);
}

void options::examples(const std::string& text) { app_->footer(text); }

bool options::given(const std::string& name) const { return app_->get_option(name)->count() > 0; }

std::string options::help() const { return app_->help(); }

/// Refuses names that no option has, before anything else is said of the line.
void options::require_known(const std::vector<std::string>& words) const {
  std::vector<std::string> names;
  for (const declared_option& d : declared_)
    names.insert(names.end(), d.names.begin(), d.names.end());
  for (std::size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
    const std::string& word = words[i];
    if (word.size() < 2 || word[0] != '-') continue;
    const bool is_long = word[1] == '-';
    const std::string name = is_long ? word.substr(0, word.find('=')) : word.substr(0, 2);
    const auto known = std::ranges::find_if(declared_, [&name](const declared_option& d) {
      return std::ranges::find(d.names, name) != d.names.end();
    });
    if (known == declared_.end()) {
      const std::string near = zel::text::nearest_name(word.substr(0, word.find('=')), names);
      throw usage_error("no option " + word + (near.empty() ? "" : "; did you mean " + near + "?"));
    }
    const bool argument_apart = known->takes != argument::none && name.size() == word.size();
    if (argument_apart) ++i;
  }
}

bool options::parse(const std::vector<std::string>& words) {
  require_known(words);
  words_ = words;
  try {
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    app_->parse(std::move(reversed));
    return true;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) throw usage_error(error.what());
    app_->exit(error);
    return false;
  }
}

}  // namespace orvverbs
