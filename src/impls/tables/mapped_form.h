// The mapped form of tables: codes lie in the file as they do in memory and are used where they
// lie.
//
//   header      8 words of 8 bytes: magic, version, bytes of the file, rows, columns, bytes of the
//               schema, sum of the schema, sum of the seven words before and the directory
//   directory   2 words a column: where its codes begin, and their sum; 0, 0 for none
//   schema      the binary form of the table without rows
//   codes       by column, in the width that the values ask for, as in the binary form but without
//               their number; each column begins at a multiple of 64 bytes
//
// Numbers are little-endian; sums are zel::util::byte_sum. Header, directory and schema are checked
// when the file is opened, a column when its codes are first asked for.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/tables/table.h"
#include "zel/inpout/iofile.h"
#include "zel/util/byte_sum.h"

namespace orvik::impls {

/// What a file in the mapped form begins with.
constexpr std::string_view k_mapped_magic("\x89orvmap\n", 8);

struct mapped_header {
  std::uint64_t magic, version, bytes, rows, columns, schema_bytes, schema_sum, own_sum;
};
struct mapped_place {
  std::uint64_t begin, sum;
};

/// Codes of one column on their way into a file that is there.
class mapped_codes_writer {
 public:
  /// Writes to `file` from byte `begin` on, codes of `bits`. Throws std::runtime_error.
  mapped_codes_writer(const std::string& file, std::uint64_t begin, unsigned bits);
  /// The codes of the next rows. Throws std::runtime_error where a write fails.
  void append(std::span<const code_t> codes);
  /// @return the sum of all; throws as append().
  std::uint64_t close();

 private:
  template <class Code>
  void append_as(std::span<const code_t> codes);
  void append_bits(std::span<const code_t> codes);
  void flush();

  zel::inpout::iofile out_;
  unsigned bits_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;  // bytes of the buffer
  std::uint64_t word_ = 0;
  unsigned n_word_ = 0;  // bits of the word that are set
  zel::util::byte_sum sum_;
};

/// A file in the mapped form as it is made: its schema first, then columns in any order and several
/// at a time, the header last.
class mapped_writer {
 public:
  /// Of a table of the columns of `schema`, whose rows do not matter. Throws std::runtime_error.
  mapped_writer(const std::string& file, const table& schema, unsigned long rows);

  /// Writes column i: give(mapped_codes_writer&) appends its codes, one a row.
  template <class Give>
  void write_column(unsigned long i, const Give& give) {
    if (bits_[i] == 0) return;
    mapped_codes_writer to(file_, places_[i].begin, bits_[i]);
    give(to);
    places_[i].sum = to.close();
  }
  /// When all columns are there.
  void finish();

 private:
  std::string file_;
  mapped_header header_{};
  std::vector<mapped_place> places_;
  std::vector<unsigned> bits_;
};

}  // namespace orvik::impls
