#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "zel/adt/basic_tree.h"

namespace zel::adt {
namespace {

// A payload with a letter, which lists the letters of the payloads alive.
struct node {
  explicit node(char name) : letter(name) { alive.insert(letter); }
  ~node() { alive.erase(alive.find(letter)); }
  static std::string letters() { return {alive.begin(), alive.end()}; }

  char letter;
  static inline std::multiset<char> alive;
};

class tree : public basic_tree<node, tree, unsigned> {
 public:
  explicit tree(char letter = '.', double weight = 1) : weight_(weight) {
    set_node(new node(letter));
    ++objects;
  }
  ~tree() override { --objects; }
  double get_weight() const override { return weight_; }

  static inline int objects = 0;

 private:
  double weight_;
};

// Reads "a(b,-,c(d))": a letter per tree, "-" for a null slot.
tree* read(const char*& text) {
  if (*text == '-') return ++text, nullptr;
  tree* result = new tree(*text++);
  if (*text != '(') return result;
  std::vector<tree*> childs;
  do {
    childs.push_back(read(++text));
  } while (*text == ',');
  ++text;
  result->resize(static_cast<unsigned>(childs.size()));
  for (unsigned i = 0; i < childs.size(); ++i) result->set_child(i, childs[i]);
  return result;
}

std::unique_ptr<tree> make(const char* text) { return std::unique_ptr<tree>(read(text)); }

std::string write(const tree& t) {
  std::string text(1, t.get_node() ? t.get_node()->letter : '?');
  for (unsigned i = 0; i < t.get_no_childs(); ++i) {
    text += i == 0 ? '(' : ',';
    text += t.get_child(i) ? write(*t.get_child(i)) : "-";
  }
  return t.get_no_childs() ? text + ')' : text;
}

class basic_tree_test : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(tree::objects, 0);
    EXPECT_EQ(node::letters(), "");
  }
};

TEST_F(basic_tree_test, measures_skip_null_slots) {
  struct row {
    const char* text;
    unsigned long size, leaves, depth, epl;
  };
  const row table[] = {
      {"a", 1, 1, 1, 0},           {"a(b,c,d)", 4, 3, 2, 3},
      {"a(b(d,e),c)", 5, 3, 3, 5}, {"a(-,b(-,c),-)", 3, 1, 3, 2},
      {"a(-,-)", 1, 1, 1, 0},
  };
  for (const row& r : table) {
    const auto t = make(r.text);
    EXPECT_EQ(t->size(), r.size) << r.text;
    EXPECT_EQ(t->leaves(), r.leaves) << r.text;
    EXPECT_EQ(t->depth(), r.depth) << r.text;
    EXPECT_EQ(t->epl(), r.epl) << r.text;
    EXPECT_EQ(t->epl(10), r.epl + 10 * r.leaves) << r.text;
    EXPECT_EQ(t->wsize(), static_cast<double>(r.size)) << r.text;
    EXPECT_EQ(t->wdepth(), static_cast<double>(r.depth)) << r.text;
  }
}

TEST_F(basic_tree_test, destroys_what_is_deleted_and_keeps_what_is_cleared) {
  const auto t = make("a(b(c,d(e)),f(g),h)");
  t->delete_child(0);
  EXPECT_EQ(write(*t), "a(-,f(g),h)");
  EXPECT_EQ(node::letters(), "afgh");
  t->delete_child(0);
  const std::unique_ptr<tree> f(t->get_child(1));
  t->clear_child(1);
  EXPECT_EQ(write(*t), "a(-,-,h)");
  const std::unique_ptr<tree> h(t->get_child(2));
  t->clear_childs();
  EXPECT_EQ(write(*t), "a");
  EXPECT_EQ(node::letters(), "afgh");
  const std::unique_ptr<node> a(t->get_node());
  t->clear_node();
  t->set_node(new node('A'));
  t->set_node(t->get_node());
  EXPECT_EQ(node::letters(), "Aafgh");
  t->set_node(nullptr);
  EXPECT_EQ(write(*t), "?");
  f->delete_childs();
  EXPECT_EQ(node::letters(), "afh");
}

TEST_F(basic_tree_test, is_replaced_with_a_son) {
  struct row {
    const char* before;
    unsigned son;
    const char *after, *alive;
  };
  const row table[] = {
      {"a(b,c)", 1, "c", "c"},
      {"a(b(d,-,e(f)),c)", 0, "b(d,-,e(f))", "bdef"},
      {"a(-,b(c(d)),e(f))", 2, "e(f)", "ef"},
  };
  for (const row& r : table) {
    const auto t = make(r.before);
    t->replace_with_son(r.son);
    EXPECT_EQ(write(*t), r.after);
    EXPECT_EQ(node::letters(), r.alive);
    EXPECT_EQ(tree::objects, static_cast<int>(node::alive.size()));
  }
}

// A spine of `levels` trees, each but the last with a leaf on either side of the next.
std::unique_ptr<tree> spine(unsigned long levels) {
  auto top = std::make_unique<tree>();
  tree* end = top.get();
  for (unsigned long level = 1; level < levels; ++level) {
    end->resize(4);  // one null slot
    for (const unsigned i : {0U, 1U, 3U}) end->set_child(i, new tree);
    end = end->get_child(1);
  }
  return top;
}

TEST_F(basic_tree_test, survives_a_hundred_thousand_levels) {
  constexpr unsigned long n = 100000;
  const auto t = spine(n);
  EXPECT_EQ(t->size(), 3 * n - 2);
  EXPECT_EQ(t->leaves(), 2 * n - 1);
  EXPECT_EQ(t->depth(), n);
  EXPECT_EQ(t->epl(), n * (n - 1) + (n - 1));  // two leaves on each level and one below
  EXPECT_EQ(t->wsize(), 3.0 * n - 2);
  EXPECT_EQ(t->wdepth(), 1.0 * n);

  t->replace_with_son(1);
  EXPECT_EQ(t->depth(), n - 1);
  t->get_child(1)->delete_child(1);
  EXPECT_EQ(tree::objects, 6);
  t->delete_childs();
  EXPECT_EQ(t->size(), 1);
  spine(n).reset();  // the destructor alone
  EXPECT_EQ(tree::objects, 1);

  const auto cut = spine(n);
  walk(
      *cut, [](tree&, unsigned long) { return true; },
      [](tree& at, unsigned long) { at.delete_childs(); });
  EXPECT_EQ(cut->size(), 1);
}

}  // namespace
}  // namespace zel::adt
