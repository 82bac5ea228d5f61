// orvik_generate: large tables for measuring, made on the spot.

#include <charconv>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "generator.h"

namespace {

constexpr char k_usage[] =
    "usage: orvik_generate --out PREFIX [options]\n"
    "  Writes PREFIX.names and PREFIX.data.\n"
    "  --rows N       rows (default 100000)\n"
    "  --function F   classification rule, 1 to 10 (default 5)\n"
    "  --noise X      share of rows whose class is flipped, 0 to 1 (default 0)\n"
    "  --unknown X    share of unknown cells, 0 to 1 (default 0)\n"
    "  --seed N       seed (default 1)\n";

template <class Number>
Number number_of(std::string_view option, std::string_view text, Number low, Number high) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < low || value > high) {
    throw std::runtime_error("bad value for " + std::string(option) + ": " + std::string(text));
  }
  return value;
}

struct request {
  bench::table_options table;
  std::string prefix;
};

request parse(int argc, char** argv) {
  request r;
  for (int i = 1; i < argc; i += 2) {
    const std::string_view option = argv[i];
    if (i + 1 == argc) throw std::runtime_error("no value for " + std::string(option));
    const std::string_view text = argv[i + 1];
    if (option == "--out") {
      r.prefix = text;
    } else if (option == "--rows") {
      r.table.rows = number_of<std::uint64_t>(option, text, 0, UINT64_MAX);
    } else if (option == "--function") {
      r.table.function = number_of(option, text, 1, 10);
    } else if (option == "--noise") {
      r.table.noise = number_of(option, text, 0.0, 1.0);
    } else if (option == "--unknown") {
      r.table.unknown = number_of(option, text, 0.0, 1.0);
    } else if (option == "--seed") {
      r.table.seed = number_of<std::uint64_t>(option, text, 0, UINT64_MAX);
    } else {
      throw std::runtime_error("unknown option " + std::string(option));
    }
  }
  if (r.prefix.empty()) throw std::runtime_error("--out is missing");
  return r;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const request r = parse(argc, argv);
    bench::write_table(r.table, r.prefix);
  } catch (const std::exception& e) {
    std::cerr << "orvik_generate: " << e.what() << '\n' << k_usage;
    return 2;
  }
}
