// In the model's file it is a JSON object:
//
//   {"reading": 1, "named": true, "separator": ",", "comment": "", "frequencies": false,
//    "replacement": "_", "unknown": ["?", "NA"], "unknown_among_numbers": ["-"],
//    "columns": [{"name": "id", "key": true},
//                {"name": "age", "numbers": true, "numeric": true, "decimal": ",", "thousands":
//                "."},
//                {"name": "price", "numbers": true, "cuts": [10, 20]}]}
//
// Whoever sends a model may have written anything there: every member is checked, unknown ones are
// passed over.
#include "reading.h"

#include <rapidjson/document.h>

#include <cmath>
#include <stdexcept>

#include "intake.h"
#include "zel/text/json.h"

namespace orvverbs {

namespace {

constexpr char k_bad[] = "what the model says of its files cannot be understood: ";
constexpr int k_version = 1;

using json_pool = rapidjson::MemoryPoolAllocator<zel::text::json_memory>;
using json_document =
    rapidjson::GenericDocument<rapidjson::UTF8<>, json_pool, zel::text::json_memory>;
using Value = json_document::ValueType;

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

bool flag_of(const Value& of, const char* name, bool otherwise) {
  const auto at = of.FindMember(name);
  if (at == of.MemberEnd()) return otherwise;
  if (!at->value.IsBool()) refuse(std::string(name) + " is neither true nor false");
  return at->value.GetBool();
}

/// One of the characters; 0 for an empty text, where that is admitted.
char character_of(const Value& of, const char* name, std::string_view among, char otherwise) {
  const auto at = of.FindMember(name);
  if (at == of.MemberEnd()) return otherwise;
  const std::string text = text_of(at->value, name);
  const char found = text.empty() ? '\0' : text[0];
  if (text.size() > 1 || (!among.empty() && among.find(found) == among.npos)) {
    refuse(std::string(name) + " is not a character that it may be");
  }
  return found;
}

const Value& array_of(const Value& of, const char* name) {
  const Value& value = member(of, name);
  if (!value.IsArray()) refuse(std::string(name) + " is no list");
  return value;
}

std::vector<std::string> texts_of(const Value& of, const char* name) {
  std::vector<std::string> texts;
  for (const Value& each : array_of(of, name).GetArray()) texts.push_back(text_of(each, name));
  return texts;
}

std::vector<double> cuts_of(const Value& of) {
  std::vector<double> cuts;
  if (!of.HasMember("cuts")) return cuts;
  for (const Value& each : array_of(of, "cuts").GetArray()) {
    const bool ascends = each.IsNumber() && std::isfinite(each.GetDouble()) &&
                         (cuts.empty() || each.GetDouble() > cuts.back());
    if (!ascends) refuse("cuts are not ascending numbers");
    cuts.push_back(each.GetDouble());
  }
  return cuts;
}

/// What it says of one column, beside the model's own column.
orvprep::column_plan column_of(const Value& value, const orvik::column_view& column) {
  if (!value.IsObject()) refuse("a column is no object");
  orvprep::column_plan plan;
  plan.name = text_of(member(value, "name"), "name");
  plan.type = column.type();
  plan.role = column.role_name();
  plan.key = flag_of(value, "key", false);
  plan.numeric = flag_of(value, "numeric", false);
  plan.reading.numbers = flag_of(value, "numbers", false);
  plan.reading.format.decimal = character_of(value, "decimal", ".,", '.');
  plan.reading.format.thousands =
      character_of(value, "thousands", std::string_view("\0.,' ", 5), '\0');
  plan.classes.cuts = cuts_of(value);
  return plan;
}

reading parsed(const std::string& text, const orvik::schema_view& schema) {
  json_document all;
  constexpr unsigned k_flags = rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag;
  all.Parse<k_flags>(text.data(), text.size());
  if (all.HasParseError() || !all.IsObject()) refuse("no JSON object");
  const Value& version = member(all, "reading");
  if (!version.IsInt() || version.GetInt() != k_version) refuse("another version");
  reading how;
  how.separator = character_of(all, "separator", "", ',');
  how.comment = character_of(all, "comment", "", '\0');
  how.plan.named = flag_of(all, "named", true);
  how.plan.frequencies = flag_of(all, "frequencies", false);
  how.plan.cells.replacement = text_of(member(all, "replacement"), "replacement");
  how.plan.cells.unknown = orvprep::unknown_texts(texts_of(all, "unknown"));
  how.plan.cells.in_numbers = orvprep::unknown_texts(texts_of(all, "unknown_among_numbers"));
  const Value& columns = array_of(all, "columns");
  if (columns.Size() != schema.n_columns()) refuse("other columns");
  for (rapidjson::SizeType i = 0; i < columns.Size(); ++i) {
    how.plan.columns.push_back(column_of(columns[i], schema.column(i)));
  }
  return how;
}

using json_text = zel::text::json_writer<zel::text::json_buffer>;

void write_character(json_text& json, const char* name, char c) {
  json.key(name);
  json.text({&c, c == 0 ? 0UL : 1UL});
}

void write_flag(json_text& json, const char* name, bool flag) {
  json.key(name);
  json.Bool(flag);
}

void write_column(json_text& json, const orvprep::column_plan& column) {
  json.object([&] {
    json.key("name");
    json.text(column.name);
    if (column.key) write_flag(json, "key", true);
    if (column.numeric) write_flag(json, "numeric", true);
    if (column.reading.numbers) write_flag(json, "numbers", true);
    if (column.reading.format != orvprep::number_format{}) {
      write_character(json, "decimal", column.reading.format.decimal);
      write_character(json, "thousands", column.reading.format.thousands);
    }
    if (!column.classes.any()) return;
    json.array("cuts", column.classes.cuts, [&json](double cut) { json.number(cut); });
  });
}

std::string text_of(const reading& how) {
  zel::text::json_buffer bytes;
  json_text json(bytes);
  const auto text = [&json](const std::string& each) { json.text(each); };
  json.object([&] {
    json.key("reading");
    json.Int(k_version);
    write_flag(json, "named", how.plan.named);
    write_character(json, "separator", how.separator);
    write_character(json, "comment", how.comment);
    write_flag(json, "frequencies", how.plan.frequencies);
    json.key("replacement");
    json.text(how.plan.cells.replacement);
    json.array("unknown", how.plan.cells.unknown.texts(), text);
    json.array("unknown_among_numbers", how.plan.cells.in_numbers.texts(), text);
    json.array("columns", how.plan.columns,
               [&json](const orvprep::column_plan& each) { write_column(json, each); });
  });
  return {bytes.GetString(), bytes.GetSize()};
}

}  // namespace

void keep_reading(const reading& how, orvik::dtree& model) { model.set_appendix(text_of(how)); }

reading plain_reading(const orvik::schema_view& schema) {
  reading how;
  const std::vector<std::string> names = schema.unique_names();
  for (unsigned long i = 0; i < schema.n_columns(); ++i) {
    orvprep::column_plan plan;
    plan.name = names[i];
    plan.type = schema.column(i).type();
    plan.role = schema.column(i).role_name();
    plan.numeric = plan.reading.numbers = schema.column(i).is_numeric();
    how.plan.columns.push_back(std::move(plan));
  }
  return how;
}

reading reading_of(const orvik::dtree& model) {
  const std::string kept = model.get_appendix();
  reading how = kept.empty() ? plain_reading(model.get_schema()) : parsed(kept, model.get_schema());
  how.plan.cells.out_separator = orvprep::k_inner_separator;
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
