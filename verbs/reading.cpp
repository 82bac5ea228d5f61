// In the model's file it is a JSON object:
//
//   {"reading": 1, "header": true, "separator": ",", "decimal": ".", "unknown": ["", "?", "NA"],
//    "columns": [{"name": "id", "key": true}, {"name": "age"}]}
//
// Whoever sends a model may have written anything there: every member is checked, unknown ones are
// passed over.
#include "reading.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>

#include <stdexcept>

#include "zel/text/json.h"

namespace orvverbs {

namespace {

constexpr char k_bad[] = "what the model says of its files cannot be understood: ";
constexpr int k_version = 1;

using rapidjson::Value;

[[noreturn]] void refuse(const std::string& what) { throw std::runtime_error(k_bad + what); }

const Value& member(const Value& of, const char* name) {
  const auto at = of.FindMember(name);
  if (at == of.MemberEnd()) refuse(std::string("no ") + name);
  return at->value;
}

std::string text_of(const Value& value, const char* name) {
  if (!value.IsString()) refuse(std::string(name) + " is no text");
  std::string text(value.GetString(), value.GetStringLength());
  if (text.find('\0') != text.npos) refuse(std::string(name) + " has a NUL byte");
  return text;
}

bool flag_of(const Value& value, const char* name) {
  if (!value.IsBool()) refuse(std::string(name) + " is neither true nor false");
  return value.GetBool();
}

char character_of(const Value& of, const char* name) {
  const std::string text = text_of(member(of, name), name);
  if (text.size() != 1) refuse(std::string(name) + " is not one character");
  return text[0];
}

const Value& array_of(const Value& of, const char* name) {
  const Value& value = member(of, name);
  if (!value.IsArray()) refuse(std::string(name) + " is no list");
  return value;
}

read_column column_of(const Value& value) {
  if (!value.IsObject()) refuse("a column is no object");
  read_column column{text_of(member(value, "name"), "name")};
  const auto key = value.FindMember("key");
  column.key = key != value.MemberEnd() && flag_of(key->value, "key");
  return column;
}

reading parsed(const std::string& text) {
  rapidjson::Document all;
  all.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  if (all.HasParseError() || !all.IsObject()) refuse("no JSON object");
  const Value& version = member(all, "reading");
  if (!version.IsInt() || version.GetInt() != k_version) refuse("another version");
  reading how;
  how.has_header = flag_of(member(all, "header"), "header");
  how.separator = character_of(all, "separator");
  how.cells.decimal_point = character_of(all, "decimal");
  how.cells.unknown.clear();
  for (const Value& each : array_of(all, "unknown").GetArray()) {
    how.cells.unknown.push_back(text_of(each, "unknown"));
  }
  for (const Value& each : array_of(all, "columns").GetArray()) {
    how.columns.push_back(column_of(each));
  }
  return how;
}

std::string text_of(const reading& how) {
  rapidjson::StringBuffer bytes;
  zel::text::json_writer<rapidjson::StringBuffer> json(bytes);
  json.object([&] {
    json.key("reading");
    json.Int(k_version);
    json.key("header");
    json.Bool(how.has_header);
    json.key("separator");
    json.text({&how.separator, 1});
    json.key("decimal");
    json.text({&how.cells.decimal_point, 1});
    json.array("unknown", how.cells.unknown, [&](const std::string& each) { json.text(each); });
    json.array("columns", how.columns, [&](const read_column& each) {
      json.object([&] {
        json.key("name");
        json.text(each.name);
        if (!each.key) return;
        json.key("key");
        json.Bool(true);
      });
    });
  });
  return {bytes.GetString(), bytes.GetSize()};
}

}  // namespace

void keep_reading(const reading& how, orvik::dtree& model) { model.set_appendix(text_of(how)); }

reading reading_of(const orvik::dtree& model) {
  const orvik::schema_view schema = model.get_schema();
  const std::string kept = model.get_appendix();
  reading how;
  if (!kept.empty()) {
    how = parsed(kept);
    if (how.columns.size() != schema.n_columns()) refuse("other columns");
  } else {
    for (const std::string& name : schema.unique_names()) how.columns.push_back({name});
  }
  how.cells.out_separator = 0;  // cells are looked up as the model has them
  return how;
}

std::unique_ptr<orvik::dtree> read_model(const std::string& file) {
  std::unique_ptr<orvik::dtree> model(orvik::dtree::fromBinary(file));
  if (!model) throw std::runtime_error("File: " + file + " holds no model");
  if (model->get_no_trees() == 0) {
    throw std::runtime_error("File: " + file + " holds a model without trees");
  }
  return model;
}

}  // namespace orvverbs
