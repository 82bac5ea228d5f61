// The completions of the shells, made of what the verbs declare.
#include <sstream>

#include "command_line.h"

namespace orvverbs {

namespace {

struct completed_verb {
  std::string name, summary;
  std::vector<declared_option> declared;
};

std::vector<completed_verb> completed(const verbs& all) {
  std::vector<completed_verb> result;
  for (const auto& each : all) {
    options declared(each->name(), each->summary());
    each->declare(declared);
    result.push_back({each->name(), each->summary(), declared.declared()});
  }
  return result;
}

std::string joined(const std::vector<std::string>& words, const char* between = " ") {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

/// `text` between single quotes of a shell; fish escapes them in its own way.
std::string quoted(const std::string& text, bool fish = false) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'') {
      result += fish ? "\\'" : "'\\''";
    } else {
      result += c;
    }
  }
  return result + "'";
}

std::string verb_names(const std::vector<completed_verb>& all) {
  std::vector<std::string> names;
  for (const completed_verb& v : all) names.push_back(v.name);
  return joined(names);
}

std::string for_bash(const std::vector<completed_verb>& all) {
  std::ostringstream out;
  out << "# Bash completion of orvik, as `orvik completion bash` writes it.\n\n"
         "# By verb and option: the kind of its argument, or the words that it may be.\n"
         "declare -gA _orvik_takes=(\n";
  for (const completed_verb& v : all) {
    for (const declared_option& d : v.declared) {
      const std::string takes = d.takes == argument::choice ? joined(d.choices)
                                : d.takes == argument::file ? ":file"
                                : d.takes == argument::free ? ":free"
                                                            : "";
      for (const std::string& name : d.names) {
        out << "  [" << v.name << ' ' << name << "]=" << quoted(takes) << '\n';
      }
    }
  }
  out << ")\n\n_orvik() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} "
         "verb=${COMP_WORDS[1]}\n"
         "  local words='' takes=${_orvik_takes[$verb $before]:-} key\n"
         "  COMPREPLY=()\n"
         "  if ((COMP_CWORD == 1)); then\n"
         "    words='"
      << verb_names(all)
      << " completion --help --version'\n"
         "  elif [[ $takes == :free ]]; then\n"
         "    return\n"
         "  elif [[ -n $takes && $takes != :file ]]; then\n"
         "    words=$takes\n"
         "  elif [[ -z $takes && $current == -* ]]; then\n"
         "    for key in \"${!_orvik_takes[@]}\"; do\n"
         "      [[ $key == \"$verb \"* ]] && words+=\" ${key#* }\"\n"
         "    done\n"
         "  fi\n"
         "  if [[ -n $words ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "  else\n"
         "    compopt -o filenames 2>/dev/null\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
         "  fi\n"
         "}\n\ncomplete -F _orvik orvik\n";
  return out.str();
}

/// An option of zsh's _arguments: its names exclude each other.
std::string zsh_option(const declared_option& d) {
  std::string help;
  for (const char c : d.help) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') help += '\\';
    help += c;
  }
  const std::string action = d.takes == argument::choice ? ":value:(" + joined(d.choices) + ")"
                             : d.takes == argument::file ? ":file:_files"
                             : d.takes == argument::free ? ":value: "
                                                         : "";
  std::string text;
  for (const std::string& name : d.names) {
    text +=
        " \\\n        " + quoted("(" + joined(d.names) + ")" + name + "[" + help + "]" + action);
  }
  return text;
}

std::string for_zsh(const std::vector<completed_verb>& all) {
  std::ostringstream out;
  out << "#compdef orvik\n# Zsh completion of orvik, as `orvik completion zsh` writes it.\n\n"
         "_orvik() {\n  if ((CURRENT == 2)); then\n    local -a verbs=(";
  for (const completed_verb& v : all) out << "\n      " << quoted(v.name + ":" + v.summary);
  out << ")\n    _describe verb verbs\n    return\n  fi\n"
         "  local verb=$words[2]\n  words=($words[2,-1])\n  ((CURRENT--))\n  case $verb in\n";
  for (const completed_verb& v : all) {
    out << "    " << v.name << ")\n      _arguments";
    for (const declared_option& d : v.declared) out << zsh_option(d);
    out << " \\\n        '*:file:_files' ;;\n";
  }
  out << "  esac\n}\n\n_orvik \"$@\"\n";
  return out.str();
}

std::string for_fish(const std::vector<completed_verb>& all) {
  std::ostringstream out;
  out << "# Fish completion of orvik, as `orvik completion fish` writes it.\n";
  for (const completed_verb& v : all) {
    out << "complete -c orvik -n __fish_use_subcommand -f -a " << v.name << " -d "
        << quoted(v.summary, true) << '\n';
    for (const declared_option& d : v.declared) {
      out << "complete -c orvik -n " << quoted("__fish_seen_subcommand_from " + v.name);
      for (const std::string& name : d.names) {
        out << (name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1));
      }
      if (d.takes == argument::choice) out << " -x -a " << quoted(joined(d.choices), true);
      if (d.takes == argument::file) out << " -r -F";
      if (d.takes == argument::free) out << " -x";
      out << " -d " << quoted(d.help, true) << '\n';
    }
  }
  return out.str();
}

}  // namespace

std::string completion_for(const std::string& shell, const verbs& all) {
  const std::vector<completed_verb> verbs_of = completed(all);
  if (shell == "bash") return for_bash(verbs_of);
  if (shell == "zsh") return for_zsh(verbs_of);
  if (shell == "fish") return for_fish(verbs_of);
  throw usage_error("completion needs one of bash, zsh, fish");
}

}  // namespace orvverbs
