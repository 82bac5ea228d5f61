// Rules as JSON, for programs: docs/formats.md has the layout. Numbers are exact.
#include "orvik/orvik.h"
#include "rules.h"
#include "wording.h"
#include "zel/text/json.h"

namespace orvik::view {

namespace {

constexpr char k_format[] = "orvik-rules";
constexpr unsigned k_format_version = 1;

class rules_writer {
 public:
  rules_writer(const chosen_tree& chosen, std::ostream& out)
      : chosen_(chosen),
        schema_(chosen.schema()),
        words_(chosen.model),
        rules_(rules_of(chosen)),
        sink_(out),
        json_(sink_) {}

  void write();

 private:
  void key(const char* name) { json_.key(name); }
  void text(const std::string& utf8) { json_.text(utf8); }
  void write_value(const char* name, const orvik::column_view& c,
                   std::optional<orvik::code_t> code);
  void write_value(const orvik::column_view& c, orvik::code_t code);
  void write_condition(const condition& c);
  void write_rule(const rule& r);

  const chosen_tree& chosen_;
  orvik::schema_view schema_;
  wording words_;
  std::vector<rule> rules_;
  zel::text::json_sink sink_;
  zel::text::json_writer<zel::text::json_sink> json_;
};

void rules_writer::write_value(const char* name, const orvik::column_view& c,
                               std::optional<orvik::code_t> code) {
  if (!code) return;
  key(name);
  write_value(c, *code);
}

void rules_writer::write_value(const orvik::column_view& c, orvik::code_t code) {
  const std::string value = c.exact(code);
  c.is_numeric() ? json_.digits(value) : text(words_.utf8(value));
}

void rules_writer::write_condition(const condition& c) {
  const orvik::column_view tested = schema_.column(c.column);
  json_.StartObject();
  key("column");
  text(words_.column_name(c.column));
  write_value("equals", tested, c.equals);
  if (!c.equals && !c.others.empty()) {
    key("none_of");
    json_.StartArray();
    for (const orvik::code_t code : c.others) write_value(tested, code);
    json_.EndArray();
  }
  write_value("above", tested, c.above);
  write_value("up_to", tested, c.up_to);
  json_.EndObject();
}

void rules_writer::write_rule(const rule& r) {
  sink_.Put('\n');
  json_.StartObject();
  key("class");
  text(words_.class_name(r.leaf.predicted()));
  key("support");
  json_.number(r.support());
  key("confidence");
  r.has_cases() ? json_.number(r.confidence()) : static_cast<void>(json_.Null());
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
  text(orvik::get_product());
  key("name");
  text(words_.model_name());
  key("tree");
  json_.Uint64(chosen_.tree == k_whole_model ? 1 : chosen_.tree + 1);
  key("class");
  text(words_.column_name(schema_.class_column().index()));
  key("rules");
  json_.StartArray();
  for (const rule& r : rules_) write_rule(r);
  json_.EndArray();
  json_.EndObject();
  sink_.Put('\n');
}

}  // namespace

void write_rules_json(const chosen_tree& chosen, std::ostream& out) {
  rules_writer(chosen, out).write();
}

}  // namespace orvik::view
