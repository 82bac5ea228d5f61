// A model of a few nodes, under names that every language must escape, in every form.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "impls/model/dtree.h"
#include "impls/support/ensembles.h"
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

TEST_F(hostile_names, in_a_graph) {
  EXPECT_EQ(written([&](auto& out) { model->toDOT(out); }),
            R"~(digraph Orvik {
n0 [ shape=box, label="a\"b\n"]
n0 -> n1 [label="\"p\""]
n1 [ shape=ellipse, label="<y>\n(2.5/0)"]
n0 -> n2 [label="p\\"]
n2 [ shape=box, label="size\n"]
n2 -> n3 [label="<=0.100000"]
n3 [ shape=ellipse, label="<y>\n(2.5/0.5)"]
n2 -> n4 [label=">0.100000"]
n4 [ shape=ellipse, label="no\n(2.5/0)"]
}
)~");
}

// The format of the first numbers is the stream's, from the first leaf on three decimals.
TEST_F(hostile_names, in_pmml_2_0) {
  const conf_matrix test(&*t);
  const std::string text = written([&](auto& out) { model->toXML(out, &test); });
  EXPECT_EQ(text.substr(0, text.find("<Array")), R"(<DataDictionary numberOfFields="5">
<DataField name="a&quot;b" optype="categorical" >
<Value value="&quot;p&quot;" />
<Value value="p\" />
</DataField>
<Extender name="id" value="ignore" />
<DataField name="size" optype="continuous" />
<DataField name="c&lt;&amp;&gt;&apos;" optype="categorical" >
<Value value="&lt;y&gt;" />
<Value value="no" />
</DataField>
<Extender name="w" value="weights" />
</DataDictionary>
<TreeModel modelName="m&lt;1&gt;" functionName="classification" algorithmName="Orvik 2.2.0">
<MiningSchema>
<MiningField name="a&quot;b" usageType="active" />
<MiningField name="size" usageType="active" />
<MiningField name="c&lt;&amp;&gt;&apos;" usageType="predicted" />
<MiningField name="w" usageType="active" />
</MiningSchema>
<Node score="" recordCount="8" knownFrac="1">
<True />
<Node score="&lt;y&gt;" recordCount="3" knownFrac="0.333333">
<SimplePredicate field="a&quot;b" operator="equal" value="&quot;p&quot;" />
<ScoreDistribution value="&lt;y&gt;" recordCount ="2.500" />
<ScoreDistribution value="no" recordCount ="0.000" />
</Node>
<Node score="" recordCount="5" knownFrac="0.667">
<SimplePredicate field="a&quot;b" operator="equal" value="p\" />
<Node score="&lt;y&gt;" recordCount="3" knownFrac="0.500">
<SimplePredicate field="size" operator="lessOrEqual" value="0.100000" />
<ScoreDistribution value="&lt;y&gt;" recordCount ="2.000" />
<ScoreDistribution value="no" recordCount ="0.500" />
</Node>
<Node score="no" recordCount="3" knownFrac="0.500">
<SimplePredicate field="size" operator="greaterThan" value="0.100000" />
<ScoreDistribution value="&lt;y&gt;" recordCount ="0.000" />
<ScoreDistribution value="no" recordCount ="2.500" />
</Node>
</Node>
</Node>
<Extension>
<X-ConfusionMatrixTraining x-incorrectlyInst = "0.000" x-incorrectlyInstPerc = "0.000%" x-totalInst = "7.500">
)");
  EXPECT_LT(text.find("</X-ConfusionMatrixTraining>\n<X-ConfusionMatrixTest"), text.size());
  EXPECT_TRUE(text.ends_with("</X-ConfusionMatrixTest>\n</Extension>\n</TreeModel>\n</PMML>\n"));
}

TEST_F(hostile_names, in_pmml_4_4) {
  EXPECT_EQ(
      written([&](auto& out) { model->toPMML(out << std::hex << std::fixed); }),
      R"(<DataDictionary numberOfFields="3">
<DataField name="a&quot;b" optype="categorical" dataType="string">
<Value value="&quot;p&quot;"/>
<Value value="p\"/>
<Value value="?" property="missing"/>
</DataField>
<DataField name="size" optype="continuous" dataType="float">
<Value value="?" property="missing"/>
</DataField>
<DataField name="c&lt;&amp;&gt;&apos;" optype="categorical" dataType="string">
<Value value="&lt;y&gt;"/>
<Value value="no"/>
</DataField>
</DataDictionary>
<TreeModel modelName="m&lt;1&gt;" algorithmName="Orvik 2.2.0" functionName="classification" )"
      R"(missingValueStrategy="weightedConfidence" noTrueChildStrategy="returnNullPrediction" )"
      R"(splitCharacteristic="binarySplit">
<MiningSchema>
<MiningField name="a&quot;b" usageType="active" invalidValueTreatment="asMissing"/>
<MiningField name="size" usageType="active" invalidValueTreatment="asMissing"/>
<MiningField name="c&lt;&amp;&gt;&apos;" usageType="target"/>
</MiningSchema>
<Node score="&lt;y&gt;" recordCount="7.5">
<True/>
<Node score="&lt;y&gt;" recordCount="2.5">
<SimplePredicate field="a&quot;b" operator="equal" value="&quot;p&quot;"/>
<ScoreDistribution value="&lt;y&gt;" recordCount="2.5"/>
<ScoreDistribution value="no" recordCount="0"/>
</Node>
<Node score="no" recordCount="5">
<SimplePredicate field="a&quot;b" operator="equal" value="p\"/>
<Node score="&lt;y&gt;" recordCount="2.5">
<SimplePredicate field="size" operator="lessOrEqual" value="0.1"/>
<ScoreDistribution value="&lt;y&gt;" recordCount="2"/>
<ScoreDistribution value="no" recordCount="0.5"/>
</Node>
<Node score="no" recordCount="2.5">
<SimplePredicate field="size" operator="greaterThan" value="0.1"/>
<ScoreDistribution value="&lt;y&gt;" recordCount="0"/>
<ScoreDistribution value="no" recordCount="2.5"/>
</Node>
</Node>
</Node>
</TreeModel>
</PMML>
)");
}

TEST_F(hostile_names, in_json) {
  EXPECT_EQ(written([&](auto& out) { model->toJSON(out << std::hex); }),
            R"({"format":"orvik-model","version":1,"library":"Orvik 2.2.0","encoding":"UTF-8",)"
            R"("name":"m<1>","ensemble":false,"class":3,"weights":4,"columns":[
{"name":"a\"b","type":"string","role":"discrete","unknown":"?","values":["\"p\"","p\\"]}
,{"name":"id","type":"null","role":"ignore","unknown":"?"}
,{"name":"size","type":"float","role":"continuous","unknown":"?"}
,{"name":"c<&>'","type":"string","role":"class","unknown":"?","values":["<y>","no"]}
,{"name":"w","type":"double","role":"weights","unknown":"?"}]
,"trees":[{"nodes":[
{"weight":7.5,"cases":8,"fraction":1,"column":0,"children":[1,2]}
,{"weight":2.5,"cases":3,"fraction":0.3333333333333333,"class":1,"classes":[2.5,0]}
,{"weight":5,"cases":5,"fraction":0.6666666666666666,"column":2,"threshold":0.1,"children":[3,4]}
,{"weight":2.5,"cases":3,"fraction":0.5,"class":1,"classes":[2,0.5]}
,{"weight":2.5,"cases":3,"fraction":0.5,"class":2,"classes":[0,2.5]}]}
]}
)");
}

TEST_F(hostile_names, in_rows) {
  const case_list cases{{7, 0.25}, {0, 1}};
  EXPECT_EQ(written([&](auto& out) { t->toCSV(out, cases, true); }),
            "a\"b,id,size,c<&>',w\np\\,?,?,no,1.000000\n\"p\",?,0.100000,<y>,1.000000\n");
  EXPECT_EQ(written([&](auto& out) { t->toCSV(out, {}, false); }), "");
}

TEST(table_schema, of_an_empty_table_and_of_selected_attributes) {
  const table empty("none");
  EXPECT_EQ(written([&](auto& out) { empty.toXML_data_dictionary(out); }),
            "<DataDictionary numberOfFields=\"0\">\n</DataDictionary>\n");
  EXPECT_EQ(written([&](auto& out) { empty.toCSV(out, {}, true); }), "\n");

  // An ignored column has a bit, the class and the weights have none.
  const auto t = make_schema(
      "i,string,ignore\nc,string,class\na,string,discrete\nw,double,weights\nb,double,"
      "continuous\n");
  zel::adt::bitmap selection;
  selection.resize(3);
  selection.set(2);
  EXPECT_EQ(written([&](auto& out) { t->toXML_mining_schema(out, &selection); }),
            "<MiningSchema>\n<MiningField name=\"c\" usageType=\"predicted\" />\n"
            "<MiningField name=\"w\" usageType=\"active\" />\n"
            "<MiningField name=\"b\" usageType=\"active\" />\n</MiningSchema>\n");
  EXPECT_EQ(written([&](auto& out) { t->toXML_data_dictionary(out); }),
            "<DataDictionary numberOfFields=\"5\">\n<Extender name=\"i\" value=\"ignore\" />\n"
            "<DataField name=\"c\" optype=\"categorical\" >\n</DataField>\n"
            "<DataField name=\"a\" optype=\"categorical\" >\n</DataField>\n"
            "<Extender name=\"w\" value=\"weights\" />\n"
            "<DataField name=\"b\" optype=\"continuous\" />\n</DataDictionary>\n");
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

TEST(ensembles, are_one_graph_and_segments_that_vote) {
  const auto t = hostile_table();
  const auto model = grow_ensemble(*t, {3, true, 1});
  const std::string graph = written([&](auto& out) { model->toDOT(out); });
  const std::string pmml = written([&](auto& out) { model->toPMML(out); });
  const auto count = [](const std::string& text, const std::string& what) {
    unsigned n = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; ++at) ++n;
    return n;
  };
  EXPECT_EQ(count(graph, "n0 [ shape"), 3u);
  EXPECT_EQ(count(graph, "digraph"), 1u);
  EXPECT_EQ(count(pmml, "<MiningModel"), 1u);
  EXPECT_EQ(count(pmml, "<TreeModel"), 3u);
  EXPECT_EQ(count(pmml, "</TreeModel>\n</Segment>\n"), 3u);
  EXPECT_EQ(count(pmml, "usageType=\"target\""), 4u);
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
