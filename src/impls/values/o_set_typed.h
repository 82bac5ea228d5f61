// Value sets of one value type.
//
// While a table loads, every worker has a dictionary of its own. It looks the bytes of a cell up
// first and converts only texts that it has not met: a column with few distinct texts costs one
// probe a cell. A numeric column of many distinct texts gives that up: its numbers are kept as they
// are, and sorting them gives their codes at the end. Texts of one value ("2.5", "2.50") share its
// code.
#pragma once

#include <cassert>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <variant>
#include <vector>

#include "impls/values/growing_array.h"
#include "impls/values/o_set.h"
#include "impls/values/text_codes.h"
#include "impls/values/value_codes.h"

namespace orvik::impls {

/// T is int, unsigned int, float, double, long double or std::string.
template <class T>
class o_set_typed : public o_set {
 public:
  o_set_typed(std::string type, bool admits_null, std::string null_value, bool owns_null = false)
      : o_set(std::move(type), admits_null, std::move(null_value)), owns_null_(owns_null) {
    assert(!owns_null || (!k_numeric && !admits_null));
  }

  bool is_ordered() const override { return ordered_; }
  bool is_numeric() const override { return k_numeric; }

  code_t insert(const char* text) override;
  using o_set::insert;
  code_t insert_local(std::string_view text, unsigned long thread) override;
  bool insert_cells(const cell_batch& cells, unsigned long thread, std::uint32_t* codes) override;
  std::span<const std::uint32_t> kept_codes(unsigned long thread) const override;
  void set_nthreads(unsigned long n) override;

  unsigned long size_of_known() const override;
  void freeze() override;
  [[nodiscard]] std::vector<code_t>* map_insert_to_order(unsigned long thread) override;
  void unfreeze() override;

  bool get_order(const char* text, code_t& code) const override;
  std::string get_value(code_t code) const override;
  std::string get_exact_value(code_t code) const override;
  double get_value_as_double(code_t code) const override;
  void rescale(double factor) override;
  bool has_same_values(const o_set& other) const override;
  [[nodiscard]] o_set* clone() const override;
  std::unique_ptr<o_set> united_with(const o_set& other) const override;
  std::vector<code_t> codes_in(const o_set& all) const override;
  code_t code_of_null() const override;
  code_t find_mid(code_t lo, code_t hi) const override;
  std::unique_ptr<number_limits> limits_at(std::span<const code_t> codes) const override;
  void bin_out(zel::inpout::obinstream& out) const override;
  bool bin_in(zel::inpout::ibinstream& in) override;
  void load_cells(const cell_array& cells, const cell_rows& rows,
                  std::vector<std::uint32_t>& codes) override;
  code_t code_of_number(long double number) const override;

  /// Freezes an open set without values over these, which ascend; throws as bin_in(). @return
  /// whether they differ.
  bool adopt(std::vector<T> values);

  /// Makes an ordered set of the values in `list`, separated by ";". Strings only.
  void enumerate(std::string_view list);

 private:
  static constexpr bool k_numeric = !std::is_same_v<T, std::string>;

  /// What one loader thread has met: numbers by value, with a memo of texts; strings by text.
  struct thread_map {
    text_codes texts;
    std::vector<text_codes::code> code_of_text;  // numbers only, by text code - 1
    std::conditional_t<k_numeric, value_codes<T>, std::monostate> numbers;
    unsigned long cells = 0;   // looked up in the memo
    unsigned long misses = 0;  // those of them that were not in it
    bool has_memo = true;
    std::vector<code_t> final_codes;  // by local code, once frozen

    // Cells kept as numbers; in place of an unknown one stands some number of the dictionary.
    std::conditional_t<k_numeric, growing_array<T>, std::monostate> kept;
    std::vector<std::uint32_t> unknown_kept;  // positions of the unknown ones
    std::size_t n_kept = 0;
    std::size_t first_kept = 0;  // position in kept_codes_
  };
  /// A string and its local code.
  struct local_value {
    T value;
    text_codes::code code;
  };

  bool is_null(std::string_view text) { return !owns_null_ && note_null(text); }
  T parse(std::string_view text) const;
  code_t insert_into(thread_map& map, std::string_view text) const;
  void weigh_memo(thread_map& map) const;
  text_codes::code code_of_cell(thread_map& map, const cell_batch& cells, std::size_t row);
  bool keeps_numbers(const thread_map& map) const;
  void keep_cells(thread_map& map, const cell_batch& cells);
  T number_of_cell(const cell_batch& cells, std::size_t row) const;
  void freeze_strings();
  void freeze_numbers();
  static std::vector<local_value> ascending(const thread_map& map);
  void assign_final_codes(thread_map& map, const std::vector<local_value>& locals) const;
  code_t declared_code(std::string_view text) const;
  void require_frozen(const char* message) const;
  template <class S>
  T number_of(S value, unsigned long row) const;
  void load_numbers(const cell_array& cells, const cell_rows& rows,
                    std::vector<std::uint32_t>& codes);
  void load_texts(const cell_array& cells, const cell_rows& rows,
                  std::vector<std::uint32_t>& codes);
  std::uint32_t known_code(const std::string& text) const;
  bool may_be_read(const std::vector<T>& values) const;
  void check_code(code_t code) const;

  // Open: value to code. Frozen: only an ordered set still needs it, the others search values_.
  std::unordered_map<T, code_t> codes_;
  text_codes declared_;  // ordered sets: text code = position in the declaration
  std::vector<std::unique_ptr<thread_map>> thread_maps_;
  std::vector<std::uint32_t> kept_codes_;  // of all threads, once frozen
  std::vector<T> values_;                  // by code - 1; while frozen, and always in ordered sets
  bool frozen_ = false;
  bool ordered_ = false;
  bool owns_null_;   // strings only
  std::mutex lock_;  // guards codes_ during shared inserts
};

}  // namespace orvik::impls
