// Rules as JSON, for programs: docs/formats.md has the layout. Numbers are exact.
#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/writer.h>

#include "impls/identity.h"
#include "rules.h"
#include "wording.h"
#include "zel/text/decimal.h"

namespace orvview {

namespace impls = orvik::impls;

namespace {

constexpr char k_format[] = "orvik-rules";
constexpr unsigned k_format_version = 1;

class rules_writer {
 public:
  rules_writer(const chosen_tree& chosen, std::ostream& out)
      : chosen_(chosen), words_(chosen.model), out_(out), sink_(out), json_(sink_) {}

  void write();

 private:
  void key(const char* name) { json_.Key(name); }
  void text(const std::string& utf8) {
    json_.String(utf8.data(), static_cast<rapidjson::SizeType>(utf8.size()));
  }
  void number(const std::string& digits) {
    json_.RawValue(digits.data(), digits.size(), rapidjson::kNumberType);
  }
  void write_value(const char* name, const impls::column& c, std::optional<impls::code_t> code);
  void write_condition(const condition& c);
  void write_rule(const rule& r);

  const chosen_tree& chosen_;
  wording words_;
  std::ostream& out_;
  rapidjson::OStreamWrapper sink_;
  rapidjson::Writer<rapidjson::OStreamWrapper> json_;
};

void rules_writer::write_value(const char* name, const impls::column& c,
                               std::optional<impls::code_t> code) {
  if (!code) return;
  key(name);
  const std::string value = c.values()->get_exact_value(*code);
  c.values()->is_numeric() ? number(value) : text(words_.utf8(value));
}

void rules_writer::write_condition(const condition& c) {
  const impls::column& tested = chosen_.schema().get_column(c.column);
  json_.StartObject();
  key("column");
  text(words_.column_name(c.column));
  write_value("equals", tested, c.equals);
  write_value("above", tested, c.above);
  write_value("up_to", tested, c.up_to);
  json_.EndObject();
}

void rules_writer::write_rule(const rule& r) {
  out_ << '\n';
  json_.StartObject();
  key("class");
  text(words_.class_name(r.leaf.get_leaf_class()));
  key("support");
  number(zel::text::shortest_decimal(r.support()));
  key("confidence");
  number(zel::text::shortest_decimal(r.confidence()));
  key("conditions");
  json_.StartArray();
  for (const condition& c : r.conditions) write_condition(c);
  json_.EndArray();
  json_.EndObject();
}

void rules_writer::write() {
  json_.StartObject();
  key("format");
  text(k_format);
  key("version");
  json_.Uint(k_format_version);
  key("library");
  text(std::string(impls::k_library_name) + ' ' + impls::k_version);
  key("name");
  text(words_.utf8(chosen_.model.name()));
  key("tree");
  json_.Uint64(chosen_.tree + 1);
  key("class");
  text(words_.column_name(chosen_.schema().class_index()));
  key("rules");
  json_.StartArray();
  for (const rule& r : rules_of(chosen_)) write_rule(r);
  json_.EndArray();
  json_.EndObject();
  out_ << '\n';
}

}  // namespace

void write_rules_json(const chosen_tree& chosen, std::ostream& out) {
  rules_writer(chosen, out).write();
}

}  // namespace orvview
