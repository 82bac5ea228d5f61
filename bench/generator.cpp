#include "generator.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace bench {

namespace {

constexpr std::string_view k_names =
    "salary,integer,continuous\n"
    "commission,integer,continuous\n"
    "age,integer,continuous\n"
    "elevel,integer,discrete\n"
    "car,string,discrete\n"
    "zipcode,integer,discrete\n"
    "hvalue,integer,continuous\n"
    "hyears,integer,continuous\n"
    "loan,double,continuous\n"
    "group,string,class\n";
constexpr std::size_t k_flush_at = 1 << 20;
constexpr std::size_t k_longest_cell = 24;

// The standard distributions differ between libraries; this one is part of the file's identity.
int between(std::mt19937_64& random, int low, int high) {
  return low + static_cast<int>(random() % static_cast<std::uint64_t>(high - low + 1));
}

/// An event that comes with probability `share`: a draw below the returned bound.
std::uint64_t bound_of(double share) {
  constexpr double two_to_63 = 9223372036854775808.0;
  return static_cast<std::uint64_t>(share * two_to_63);
}

bool happens(std::mt19937_64& random, std::uint64_t bound) { return (random() >> 1) < bound; }

bool within(double value, double low, double high) { return low <= value && value <= high; }

/// 0 below 40, 1 below 60, 2 from 60 on.
std::size_t age_band(int age) { return age < 40 ? 0 : age < 60 ? 1 : 2; }

struct interval {
  double low, high;
};
// By age band: incomes of the rules 2, 5 and 6, and the loans that rule 5 asks for.
constexpr std::array<interval, 3> k_income{{{50000, 100000}, {75000, 125000}, {25000, 75000}}};
constexpr std::array<interval, 3> k_loan_inside{
    {{100000, 300000}, {200000, 400000}, {300000, 500000}}};
constexpr std::array<interval, 3> k_loan_outside{
    {{200000, 400000}, {300000, 500000}, {100000, 300000}}};
// By age band: education levels of the rules 3 and 4, and the incomes that rule 4 asks for.
constexpr std::array<interval, 3> k_elevel{{{0, 1}, {1, 3}, {2, 4}}};
constexpr std::array<interval, 3> k_income_inside{
    {{25000, 75000}, {50000, 100000}, {50000, 100000}}};
constexpr std::array<interval, 3> k_income_outside{
    {{50000, 100000}, {75000, 125000}, {25000, 75000}}};

bool within(double value, const interval& range) { return within(value, range.low, range.high); }

/// What rules 7 to 10 leave of the income before they deduct.
double disposable(const applicant& a) { return 0.67 * (a.salary + a.commission); }

double house_equity(const applicant& a) {
  return a.hyears < 20 ? 0 : 0.1 * a.hvalue * (a.hyears - 20);
}

struct file_closer {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

/// A text file written in large blocks.
class writer {
 public:
  explicit writer(const std::string& name) : name_(name), file_(std::fopen(name.c_str(), "wb")) {
    if (!file_) fail();
    text_.reserve(k_flush_at + 1024);
  }

  void put(std::string_view text) { text_ += text; }
  void put(char c) { text_ += c; }
  void put(int value) {
    std::array<char, k_longest_cell> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    text_.append(digits.data(), end);
  }
  void put_hundredths(int value) {
    put(value / 100);
    put('.');
    put(static_cast<char>('0' + value / 10 % 10));
    put(static_cast<char>('0' + value % 10));
  }
  void end_row() {
    put('\n');
    if (text_.size() >= k_flush_at) flush();
  }
  void close() {
    flush();
    if (std::fclose(file_.release()) != 0) fail();
  }

 private:
  void flush() {
    if (std::fwrite(text_.data(), 1, text_.size(), file_.get()) != text_.size()) fail();
    text_.clear();
  }
  [[noreturn]] void fail() const { throw std::runtime_error("cannot write " + name_); }

  std::string name_;
  std::unique_ptr<std::FILE, file_closer> file_;
  std::string text_;
};

/// One cell and its separator; `put_value` writes the value where it is known.
template <class Put>
void put_cell(writer& out, bool unknown, Put put_value) {
  if (unknown) {
    out.put('?');
  } else {
    put_value();
  }
  out.put(',');
}

}  // namespace

applicant draw_applicant(std::mt19937_64& random) {
  applicant a{};
  a.salary = between(random, 20000, 150000);
  const int commission = between(random, 10000, 75000);
  a.commission = a.salary >= 75000 ? 0 : commission;
  a.age = between(random, 20, 80);
  a.elevel = between(random, 0, 4);
  a.car = between(random, 1, 20);
  a.zipcode = between(random, 0, 8);
  a.hvalue = (9 - a.zipcode) * between(random, 50000, 150000);
  a.hyears = between(random, 1, 30);
  a.loan = between(random, 0, 50000000);
  return a;
}

bool in_group_a(const applicant& a, int function) {
  const std::size_t band = age_band(a.age);
  const double loan = a.loan / 100.0;
  switch (function) {
    case 1:
      return band != 1;
    case 2:
      return within(a.salary, k_income[band]);
    case 3:
      return within(a.elevel, k_elevel[band]);
    case 4:
      return within(a.salary, within(a.elevel, k_elevel[band]) ? k_income_inside[band]
                                                               : k_income_outside[band]);
    case 5:
      return within(loan,
                    within(a.salary, k_income[band]) ? k_loan_inside[band] : k_loan_outside[band]);
    case 6:
      return within(a.salary + a.commission, k_income[band]);
    case 7:
      return disposable(a) - 0.2 * loan - 20000 > 0;
    case 8:
      return disposable(a) - 5000 * a.elevel - 20000 > 0;
    case 9:
      return disposable(a) - 5000 * a.elevel - 0.2 * loan - 10000 > 0;
    case 10:
      return disposable(a) - 5000 * a.elevel + 0.2 * house_equity(a) - 10000 > 0;
    default:
      throw std::runtime_error("the classification functions are 1 to 10");
  }
}

void write_table(const table_options& options, const std::string& prefix) {
  writer names(prefix + ".names");
  names.put(k_names);
  names.close();

  std::mt19937_64 random(options.seed);
  const std::uint64_t noise = bound_of(options.noise), unknown = bound_of(options.unknown);
  writer out(prefix + ".data");
  const auto hidden = [&] { return unknown > 0 && happens(random, unknown); };
  for (std::uint64_t row = 0; row < options.rows; ++row) {
    const applicant a = draw_applicant(random);
    for (const int value : {a.salary, a.commission, a.age, a.elevel}) {
      put_cell(out, hidden(), [&] { out.put(value); });
    }
    put_cell(out, hidden(), [&] {
      out.put("make");
      out.put(a.car);
    });
    for (const int value : {a.zipcode, a.hvalue, a.hyears}) {
      put_cell(out, hidden(), [&] { out.put(value); });
    }
    put_cell(out, hidden(), [&] { out.put_hundredths(a.loan); });
    const bool flip = noise > 0 && happens(random, noise);
    out.put(in_group_a(a, options.function) != flip ? 'A' : 'B');
    out.end_row();
  }
  out.close();
}

}  // namespace bench
