#include "impls/values/o_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvik::impls {
namespace {

using texts = std::vector<std::string>;
using set_owner = std::unique_ptr<o_set>;

auto throws(const std::string& message) {
  return testing::ThrowsMessage<std::runtime_error>(message);
}

set_owner open_set(const std::string& type, const texts& values = {}, bool admits_null = true) {
  set_owner set(o_set::NEW_O_SET(type, admits_null, "?"));
  for (const std::string& value : values) set->insert(value.c_str());
  return set;
}

set_owner frozen_set(const std::string& type, const texts& values) {
  set_owner set = open_set(type, values);
  set->freeze();
  return set;
}

texts values_of(const o_set& set) {
  texts values;
  for (code_t c = 1; c <= set.size_of_known(); ++c) values.push_back(set.get_value(c));
  return values;
}

texts words(const std::string& list) {
  texts all(1);
  for (const char c : list) {
    if (c == '|') {
      all.emplace_back();
    } else {
      all.back() += c;
    }
  }
  return all;
}

struct typed_values {
  const char *type, *inserted, *frozen;  // words
};
void PrintTo(const typed_values& row, std::ostream* out) { *out << row.type; }
class o_set_values : public testing::TestWithParam<typed_values> {};

TEST_P(o_set_values, are_numbered_ascending_in_any_order_of_arrival_on_any_thread) {
  const typed_values& row = GetParam();
  std::mt19937_64 draw(3);
  texts arrival = words(row.inserted);
  for (int round = 0; round < 30; ++round) {
    std::shuffle(arrival.begin(), arrival.end(), draw);
    const set_owner set = open_set(row.type);
    set->set_nthreads(3);
    std::vector<std::vector<std::pair<code_t, std::string>>> locals(3);
    for (const std::string& text : arrival) {
      if (const auto at = draw() % 4; at == 3) {
        set->insert(text.c_str());  // into the shared dictionary
      } else {
        locals[at].emplace_back(set->insert(text.c_str(), at), text);
      }
    }
    set->freeze();
    ASSERT_EQ(values_of(*set), words(row.frozen));
    for (unsigned long thread = 0; thread < 3; ++thread) {
      const std::unique_ptr<std::vector<code_t>> finals(set->map_insert_to_order(thread));
      for (const auto& [local, text] : locals[thread]) {
        code_t code;
        ASSERT_TRUE(set->get_order(text.c_str(), code)) << text;
        ASSERT_EQ(finals ? finals->at(local) : local, code) << text;
      }
      ASSERT_EQ(finals ? finals->at(0) : k_unknown, k_unknown);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    of, o_set_values,
    testing::Values(typed_values{"integer", "10|-3|+10|010|2147483647|-2147483647|0|-0",
                                 "-2147483647|-3|0|10|2147483647"},
                    typed_values{"uinteger", "4294967295|0|+7|07|7", "0|7|4294967295"},
                    typed_values{"float", "16777217|16777216|-0|0|0.5|.50",
                                 "0.000000|0.500000|16777216.000000"},
                    typed_values{"double", "2.5|1|2.50|10|-1e2|25e-1|-0|0|?",
                                 "-100.000000|0.000000|1.000000|2.500000|10.000000"},
                    typed_values{"long double", "16777217|16777216|1e-2|0.01",
                                 "0.010000|16777216.000000|16777217.000000"},
                    typed_values{"string", "b|B||a longer text|\xc3\xa4|b|bb|?",
                                 "|B|a longer text|b|bb|\xc3\xa4"},
                    typed_values{"ostring: low ; mid;?;a high one;", "mid|low|?|mid",
                                 "low|mid|a high one"}),
    [](const auto& row) {
      std::string name(row.param.type);
      std::ranges::replace(name, ' ', '_');
      return name.substr(0, name.find(':'));
    });

// A dictionary remembers a few thousand texts; it gives that up when nearly all are new.
TEST(o_set, numbers_of_many_texts_share_codes_by_value) {
  for (const char* type : {"integer", "uinteger", "float", "double", "long double"}) {
    for (const int repeated : {0, 10}) {  // how often the first texts come before the others
      const set_owner set = open_set(type);
      set->set_nthreads(1);
      std::vector<std::pair<std::string, code_t>> cells;
      const auto insert = [&](std::string text) {
        const code_t local = set->insert(text.c_str(), 0);
        cells.emplace_back(std::move(text), local);
      };
      for (int i = 0; i < repeated * 4000; ++i) insert(std::to_string(i % 4000));
      for (int i = 0; i < 9000; ++i) insert(std::to_string(i * 7 % 9001));
      for (int i = 0; i < 9000; ++i) insert("0" + std::to_string(i * 7 % 9001));
      set->freeze();
      ASSERT_EQ(set->size_of_known(), 9000u) << type;
      const std::unique_ptr<std::vector<code_t>> finals(set->map_insert_to_order(0));
      for (const auto& [text, local] : cells) {
        ASSERT_EQ(set->get_value_as_double(finals->at(local)), std::stod(text)) << type;
      }
    }
  }
}

TEST(o_set, refuses_bad_cells_on_both_roads_without_keeping_them) {
  const struct {
    const char *type, *text, *message;
  } rows[] = {
      {"integer", "x", "x: not an int"},
      {"integer", "2147483648", "str2int:: overflow"},
      {"uinteger", "-1", "str2int:: a negative number provided."},
      {"float", "1e39", "1e39: not a float"},
      {"double", "1e3x", "1e3x: not a double"},
      {"long double", "0x1", "0x1: not a double"},
      {"ostring,a;b", "c", "o_set::insert() order string not found"},
      {"string", "?", "[o_set::insert()] called with unadmitted null value"},
      {"integer", "?", "[o_set::insert()] called with unadmitted null value"},
      {"null", "?", "[o_set::insert()] called with unadmitted null value"},
  };
  for (const auto& row : rows) {
    const set_owner set = open_set(row.type, {}, /*admits_null=*/false);
    const auto size = set->size_of_known();
    set->set_nthreads(1);
    EXPECT_THAT([&] { set->insert(row.text); }, throws(row.message));
    EXPECT_THAT([&] { set->insert(row.text, 0); }, throws(row.message));
    set->freeze();
    EXPECT_EQ(set->size_of_known(), size) << row.type << row.text;
    EXPECT_FALSE(set->has_null());
  }
}

TEST(o_set, finds_the_last_value_not_above_the_middle) {
  const struct {
    const char* type;
    texts values;
    code_t lo, hi, mid;
  } rows[] = {
      {"integer", {"1", "2"}, 1, 2, 1},
      {"integer", {"1", "2", "3"}, 1, 3, 2},
      {"integer", {"1", "2", "3", "100"}, 1, 4, 3},
      {"integer", {"1", "98", "99", "100"}, 1, 4, 1},
      {"integer", {"1", "98", "99", "100"}, 2, 4, 3},
      {"integer", {"5"}, 1, 1, 1},
      {"integer", {"-2147483647", "0", "2147483647"}, 1, 3, 2},
      {"uinteger", {"0", "2147483647", "2147483648", "4294967295"}, 1, 4, 2},
      // Nothing lies between: the lower one.
      {"double", {"1", "1.0000000000000002"}, 1, 2, 1},
      {"double", {"4.9e-324", "9.9e-324"}, 1, 2, 1},
      {"float", {"1", "1.00000012"}, 1, 2, 1},
      // The distance is beyond the largest number: the lower one.
      {"double", {"-1.7e308", "0", "1.7e308"}, 1, 3, 1},
      {"float", {"-3.4e38", "0", "3.4e38"}, 1, 3, 2},
      {"long double", {"-1.1e4932", "0", "1.1e4932"}, 1, 3, 1},
      {"ostring:a;b;c;d", {}, 1, 4, 2},
      {"ostring:a;b;c;d", {}, 2, 4, 3},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(frozen_set(row.type, row.values)->find_mid(row.lo, row.hi), row.mid)
        << row.type << " " << testing::PrintToString(row.values);
  }
}

TEST(o_set, an_opened_set_keeps_its_codes_until_it_is_frozen_again) {
  for (const bool by_thread : {false, true}) {
    const set_owner set = frozen_set("integer", {"10", "30"});
    set->unfreeze();
    set->set_nthreads(1);
    EXPECT_EQ(set->insert("30"), 2u);
    EXPECT_EQ(by_thread ? set->insert("20", 0) + 2 : set->insert("20"), 3u);
    set->freeze();
    EXPECT_EQ(values_of(*set), (texts{"10", "20", "30"}));
  }
}

}  // namespace
}  // namespace orvik::impls
