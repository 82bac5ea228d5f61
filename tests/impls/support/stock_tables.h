// Tables that several tests grow trees on.
#pragma once

#include <random>
#include <string>

#include "impls/support/table_text.h"

namespace orvik::impls {

constexpr const char* k_golf_names =
    "outlook,string,discrete\ntemperature,integer,continuous\nhumidity,integer,continuous\n"
    "windy,string,discrete\nplay,string,class\n";
constexpr const char* k_golf_rows =
    "sunny,85,85,false,no\nsunny,80,90,true,no\novercast,83,86,false,yes\n"
    "rainy,70,96,false,yes\nrainy,68,80,false,yes\nrainy,65,70,true,no\n"
    "overcast,64,65,true,yes\nsunny,72,95,false,no\nsunny,69,70,false,yes\n"
    "rainy,75,80,false,yes\nsunny,75,70,true,yes\novercast,72,90,true,yes\n"
    "overcast,81,75,false,yes\nrainy,71,91,true,no\n";

/// Play golf or not by the weather (Quinlan 1993).
inline std::unique_ptr<table> golf_table() { return make_table(k_golf_names, k_golf_rows); }

struct table_texts {
  std::string names, data;
};

/// `rows` random rows over all kinds of columns, with unknown values if wanted, an ignored column,
/// case weights if `weighted` (some of them 0), and a class of three values that hangs, with noise,
/// on the attributes; one cell in `one_in` is unknown. The same rows for the same seed.
inline table_texts mixed_texts(unsigned long rows, unsigned long seed, bool weighted,
                               bool unknown = true, unsigned long one_in = 12) {
  std::mt19937_64 draw(seed);
  const auto below = [&draw](unsigned long n) { return draw() % n; };
  const auto unless_unknown = [&](unsigned long value) {
    return below(one_in) == 0 && unknown ? std::string("?") : std::to_string(value);
  };
  std::string data;
  for (unsigned long i = 0; i < rows; ++i) {
    const unsigned long colour = below(5), flag = below(2), few = below(12), many = below(1500);
    const unsigned long rule = colour == 2 ? flag : few > 7 ? 2 : many > 900 ? 1 : few % 2;
    data += unless_unknown(colour) + "," + std::to_string(flag) + "," + unless_unknown(few) + ",c" +
            std::to_string(below(6) == 0 ? below(3) : rule) + "," + unless_unknown(many) + ",x" +
            std::to_string(i % 100);
    if (weighted) data += "," + std::to_string(static_cast<double>(below(10)) * 0.3);
    data += '\n';
  }
  std::string names =
      "colour,string,discrete\nflag,string,discrete\nfew,integer,continuous\nkind,string,class\n"
      "many,double,continuous\nskip,string,ignore\n";
  if (weighted) names += "weight,double,weights\n";
  return {names, data};
}

inline std::unique_ptr<table> mixed_table(unsigned long rows, unsigned long seed, bool weighted,
                                          bool unknown = true, unsigned long one_in = 12) {
  const table_texts texts = mixed_texts(rows, seed, weighted, unknown, one_in);
  return make_table(texts.names, texts.data);
}

}  // namespace orvik::impls
