#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace bench {

/// Which table to make. Equal options give equal bytes on every machine.
struct table_options {
  std::uint64_t rows = 100000;
  int function = 5;    // classification rule, 1 to 10
  double noise = 0;    // share of rows whose class is flipped, 0 to 1
  double unknown = 0;  // share of unknown cells outside the class column, 0 to 1
  std::uint64_t seed = 1;
};

/// A loan applicant; amounts in whole units but for the loan, in hundredths.
struct applicant {
  int salary;      // 20,000 to 150,000
  int commission;  // 0 from a salary of 75,000 on, else 10,000 to 75,000
  int age;         // 20 to 80
  int elevel;      // education level, 0 to 4
  int car;         // make, 1 to 20
  int zipcode;     // 0 to 8
  int hvalue;      // house value: 0.5 to 1.5 times 100,000 times (9 - zipcode)
  int hyears;      // years that the house is owned, 1 to 30
  int loan;        // 0 to 50,000,000 hundredths
};

applicant draw_applicant(std::mt19937_64& random);

/// Whether the applicant belongs to group A under classification `function`, 1 to 10: the ten
/// rules of Agrawal, Imielinski and Swami, "Database Mining: A Performance Perspective" (1993).
bool in_group_a(const applicant& a, int function);

/// Writes PREFIX.names and PREFIX.data, nine attributes and the class, a million rows in about
/// a second. Throws std::runtime_error when a file cannot be written.
void write_table(const table_options& options, const std::string& prefix);

}  // namespace bench
