// A model of a few nodes, under names that every language must escape, in every form.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "impls/model/dtree.h"
#include "impls/support/table_text.h"
#include "impls/support/tree_builder.h"
#include "support/error_of.h"

using namespace orvik::impls;

namespace {

/// What the library says of itself is not looked at.
std::string without_header(const std::string& text) {
  const std::size_t from = text.find("<DataDictionary");
  return from == text.npos ? text : text.substr(from);
}

std::string written(const std::function<void(std::ostream&)>& write) {
  std::ostringstream out;
  write(out);
  return without_header(out.str());
}

/// A test of text whose branch "p" is pure, and below it one of a number that float cannot hold;
/// the last row goes half each way.
std::unique_ptr<table> hostile_table() {
  return make_table(
      "a\"b,string,discrete\nid,null,ignore\nsize,float,continuous\nc<&>',string,class\n"
      "w,double,weights\n",
      "\"p\",?,0.1,<y>,1\n\"p\",?,0.3,<y>,1\n\"p\",?,0.3,<y>,0.5\np\\,?,0.1,<y>,1\n"
      "p\\,?,0.1,<y>,1\np\\,?,0.3,no,1\np\\,?,0.3,no,1\np\\,?,?,no,1\n");
}

std::unique_ptr<dtree> grown_on(const table& t, const std::string& name) {
  auto model = std::make_unique<dtree>(name);
  model->set_pruning_strategy(orvik::model::NO_PRUNING);
  model->set_min_obj(0.5);
  const std::unique_ptr<case_list> all(t.get_all());
  model->build(&t, all.get());
  model->set_training_cm(&t, all.get());
  return model;
}

class hostile_names : public testing::Test {
 protected:
  const std::unique_ptr<table> t = hostile_table();
  const std::unique_ptr<dtree> model = grown_on(*t, "m<1>");
};

// The format of the first numbers of PMML 2.0 is the stream's, from the first leaf on three
// decimals.
TEST_F(hostile_names, are_escaped_as_every_language_asks) {
  conf_matrix test(&*t);
  test.add(1, 1, 3);
  test.add(1, 2, 1);
  const std::pair<const char*, std::function<void(std::ostream&)>> documents[] = {
      {"dot", [&](auto& out) { model->toDOT(out); }},
      {"xml", [&](auto& out) { model->toXML(out, &test); }},
      {"pmml", [&](auto& out) { model->toPMML(out << std::hex << std::fixed); }},
      {"json", [&](auto& out) { model->toJSON(out << std::hex); }}};
  for (const auto& [language, write] : documents) {
    std::ifstream golden(ORVIK_ROOT "/tests/golden/hostile." + std::string(language));
    EXPECT_EQ(written(write), std::string(std::istreambuf_iterator<char>(golden), {})) << language;
  }
}

TEST_F(hostile_names, in_rows) {
  const case_list cases{{7, 0.25}, {0, 1}};
  EXPECT_EQ(written([&](auto& out) { t->toCSV(out, cases, true); }),
            "a\"b,id,size,c<&>',w\np\\,?,?,no,1.000000\n\"p\",?,0.100000,<y>,1.000000\n");
  EXPECT_EQ(written([&](auto& out) { t->toCSV(out, {}, false); }), "");
}

// What the golden reports do not show.
TEST(tree_text, shows_what_few_trees_have) {
  const auto t = make_table(
      "colour,string,discrete\nyes or no,string,class\nsize,double,continuous\nid,string,ignore\n",
      "red,no,1.25,x\ngreen,yes,2.5,y\n?,yes,1e6,z\n");
  const struct {
    tree_plan plan;
    const char* text;
  } rows[] = {
      {leaf({0, 0}), " ? (0.0)"},
      {leaf({0.04, 1234567.25}), " yes (1234567.3/0.0)"},
      {split(0, {leaf({0, 0}), leaf({1, 4})}),  // an empty branch is as its father
       "\ncolour = green: yes (0.0)\ncolour = red: yes (5.0/1.0)"},
      {split(1, 1, {leaf({1, 0}), leaf({2, 0}), leaf({3, 0})}),
       "\nsize <= 1.250000 : no (1.0)\nsize > 1.250000 : no (2.0)\nsize unknown 1.250000 "
       ": no (3.0)"},
      {split(2, {leaf({1, 0}), leaf({0, 1})}),
       "\nid # unhandled type ignore no (1.0)\nid # unhandled type ignore yes (1.0)"},
  };
  for (const auto& [plan, text] : rows) EXPECT_EQ(text_of(*build_tree(plan), *t), text);
  std::ostringstream out;  // starts at the level asked for and leaves the stream's format
  build_tree(split(0, {leaf({1, 0}), leaf({0, 1})}))->toTEXT(*t, out, 2);
  out << ' ' << 0.25;
  EXPECT_EQ(out.str(), "\n|   |   colour = green: no (1.0)\n|   |   colour = red: yes (1.0) 0.2");
}

TEST(graph_numbers, are_rounded_down_and_leave_one_out_after_an_inner_child) {
  const auto t = make_table("colour,string,discrete\nc,string,class\n", "red,no\ngreen,yes\n");
  const auto tree = build_tree(split(
      0, {split(0, {leaf({2.96, 0}), split(0, {leaf({1, 0}), leaf({0, 0})})}), leaf({0, 1})}));
  std::ostringstream out;
  EXPECT_EQ(tree->toDOT(*t, out, 5), 14u);
  EXPECT_NE(out.str().find("n7 [ shape=ellipse, label=\"no\\n(2.9/0)\"]\n"
                           "n6 -> n8 [label=\"red\"]\nn8 [ shape=box, label=\"colour\\n\"]\n"
                           "n8 -> n9 [label=\"green\"]\nn9 [ shape=ellipse, label=\"no\\n(1/0)\"]\n"
                           "n8 -> n10 [label=\"red\"]\nn10 [ shape=ellipse, label=\"no\\n(0/0)\"]\n"
                           "n5 -> n13 [label=\"red\"]\n"),
            out.str().npos)
      << out.str();
}

TEST(documents, keep_bytes_that_are_not_utf_8_and_tell_columns_of_one_name_apart) {
  const auto t = make_table("x,string,discrete\nx,integer,continuous\nx #2,string,class\n",
                            "\xe9,1,a\n\xff\t,2,b\n\xe9,1,a\n\xff\t,2,b\n");
  const auto model = grown_on(*t, "m");
  std::ostringstream pmml;
  model->toPMML(pmml);
  for (const char* part :
       {"encoding=\"ISO-8859-1\"?>", "value=\"\xe9\"", "value=\"\xff&#9;\"",
        "<DataField name=\"x\" ", "<DataField name=\"x #2 #2\" ", "<DataField name=\"x #2\" "}) {
    EXPECT_NE(pmml.str().find(part), std::string::npos) << part;
  }
  const std::string json = written([&](auto& out) { model->toJSON(out); });
  EXPECT_NE(json.find("[\"\xc3\xa9\",\"\xc3\xbf\\t\"]"), json.npos) << json;
}

TEST(documents, refuse_what_they_cannot_hold) {
  for (const char* odd : {"\x01", "\xef\xbf\xbf"}) {
    const auto t =
        make_table("x,string,discrete\nc,string,class\n", std::string(odd) + ",a\ny,b\n");
    const auto model = grown_on(*t, "m");
    std::ostringstream out;
    EXPECT_EQ(error_of([&] { model->toPMML(out); }),
              "PMML output: a name or a value has a character that XML cannot hold");
  }
  std::ostringstream out;
  const dtree unbuilt("m");
  EXPECT_NE(error_of([&] { unbuilt.toPMML(out); }), "");
  EXPECT_NE(error_of([&] { unbuilt.toJSON(out); }), "");
  EXPECT_NE(error_of([&] { unbuilt.toDOT(out); }), "");
  EXPECT_NE(error_of([&] { unbuilt.toXML(out, nullptr); }), "");
}

}  // namespace
