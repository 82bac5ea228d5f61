// The dictionary of one column: text to code while a table is loaded, code to value afterwards.
//
// Code 0 is the unknown value; the n known values have codes 1 .. n. A set collects values while
// it is open and sorts them when it is frozen: from then on the codes of numbers follow their
// values and the codes of strings their bytes. The codes of an ordered set follow the order in
// which its values were declared, from the start and for good.
//
// The base class is the set of the type "null": it knows the unknown value only.
// Threads: insert(text) from any thread; insert(text, t) from the one thread that owns slot t;
// the rest from one thread at a time, a frozen set from many.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/types.h"
#include "impls/values/cell_batch.h"
#include "impls/values/number_limits.h"
#include "orvik/cells.h"
#include "zel/util/nocopy.h"

namespace zel::inpout {
class obinstream;
class ibinstream;
}  // namespace zel::inpout

namespace orvik::impls {

/// Which cells of a column are its rows: the first n, or those listed.
class cell_rows {
 public:
  explicit cell_rows(unsigned long n) : n_(n) {}
  explicit cell_rows(std::span<const row_t> listed) : n_(listed.size()), listed_(listed.data()) {}
  unsigned long size() const { return n_; }
  row_t operator[](unsigned long i) const { return listed_ == nullptr ? i : listed_[i]; }

 private:
  unsigned long n_;
  const row_t* listed_ = nullptr;
};

class o_set : private zel::util::nocopy {
 public:
  /// A new open set; the caller deletes it.
  /// `type` is "integer", "uinteger", "float", "double", "long double", "string", "null", or
  /// "ostring", one character of any kind, and the allowed values in their order, separated by
  /// ";". `null_value` is the text of the unknown value, refused where `admits_null` is false.
  /// Throws std::runtime_error for another type, a repeated or an unadmitted declared value.
  /// With `owns_null`, of a set of strings that admits no unknown value, the text of the unknown
  /// one is a value like the others.
  [[nodiscard]] static o_set* NEW_O_SET(const std::string& type, bool admits_null,
                                        const std::string& null_value, bool owns_null = false);

  o_set(std::string type, bool admits_null, std::string null_value);
  virtual ~o_set() = default;

  virtual bool is_ordered() const { return false; }
  virtual bool is_numeric() const { return false; }

  /// @return the code of `text`, a new one for a new value; the base returns k_no_code for any
  /// text but the unknown value. Throws for a text that is no value of the set's type.
  virtual code_t insert(const char* text);
  /// The same without a lock, into the dictionary of loader thread `thread`: the code is local
  /// to that thread until map_insert_to_order() translates it.
  virtual code_t insert(const char* text, unsigned long thread);
  /// Forgets the threads' dictionaries and makes n empty ones.
  virtual void set_nthreads(unsigned long n);

  virtual unsigned long size_of_known() const { return 0; }
  /// Ends the collecting: gives the final codes. A frozen set stays as it is.
  virtual void freeze() {}
  /// From the local codes of `thread` to the final ones; index 0 maps to 0. The thread's
  /// dictionary is emptied. Null when its codes are final already; the caller deletes it.
  [[nodiscard]] virtual std::vector<code_t>* map_insert_to_order(unsigned long thread);
  /// Opens a frozen set again: new values are appended behind the codes there are.
  virtual void unfreeze() {}

  /// Looks `text` up in a frozen set. @return whether the set holds it; `code` is then its code,
  /// otherwise the code of the largest smaller value (0 if there is none).
  virtual bool get_order(const char* text, code_t& code) const;
  /// The text of a value. Throws for a code other than 0 while the set is open.
  virtual std::string get_value(code_t code) const;
  /// The same, a number as the shortest decimal text that reads back to it in the set's type.
  virtual std::string get_exact_value(code_t code) const { return get_value(code); }
  virtual double get_value_as_double(code_t code) const;
  /// Multiplies every value of a frozen numeric set.
  virtual void rescale(double factor);
  /// Whether every code means the same value in both, which are frozen.
  virtual bool has_same_values(const o_set& other) const;
  /// A deep copy of a frozen set; the caller deletes it.
  [[nodiscard]] virtual o_set* clone() const;
  /// A frozen set of the values of this one and of `other`; all are frozen and of one type.
  virtual std::unique_ptr<o_set> united_with(const o_set& other) const;
  /// By code, the codes that the values of this frozen set have in `all`, which holds them.
  virtual std::vector<code_t> codes_in(const o_set& all) const;
  /// The code that a cut between the values of `lo` and `hi` compares with: that of the last
  /// value from `lo` to `hi` which is not above their middle.
  virtual code_t find_mid(code_t lo, code_t hi) const;

  /// The values of these codes, which ascend, to place other numbers among; codes that have no
  /// value are left out. Null where the set is not a frozen numeric one.
  virtual std::unique_ptr<number_limits> limits_at(std::span<const code_t> codes) const;

  /// Writes the values of a frozen set by code; throws for an open one.
  virtual void bin_out(zel::inpout::obinstream& out) const;
  /// Reads what bin_out() wrote into an open set without values and freezes it. Throws for values
  /// out of order, for those that no text stands for, and for others than an ordered set declares.
  /// @return whether the values differ: numbers that were rescaled may not.
  virtual bool bin_in(zel::inpout::ibinstream& in);

  /// insert(text, thread) for bytes that need no terminator.
  virtual code_t insert_local(std::string_view text, unsigned long thread);

  /// Inserts cells as insert_local() would one by one and writes their local codes. @return false
  /// where it keeps the numbers instead, to find their codes when the set is frozen: see
  /// kept_codes(). Throws for a batch with a bad cell, some of whose cells are inserted then.
  virtual bool insert_cells(const cell_batch& cells, unsigned long thread, std::uint32_t* codes);
  /// The final codes of the cells that `thread` kept, in their order, until set_nthreads().
  virtual std::span<const std::uint32_t> kept_codes(unsigned long thread) const;

  /// Takes all values from memory, into a set without any, and freezes it; `codes` receives those
  /// of the rows. Throws std::runtime_error for cells of another kind, for an infinite number and
  /// one that the set's type does not have, for an unknown value where none is admitted, with the
  /// row, and for a text that no file or not the declared order could hold.
  virtual void load_cells(const cell_array& cells, const cell_rows& rows,
                          std::vector<std::uint32_t>& codes);
  /// The code of a number in a frozen set; k_no_code where it is none of the values.
  virtual code_t code_of_number(long double number) const;

  /// Refuses negative numbers from now on (case weights).
  void forbid_negative() { admits_negative_ = false; }

  const std::string& type() const { return type_; }
  const std::string& null_value() const { return null_value_; }
  bool admits_null() const { return admits_null_; }
  /// Whether the unknown value was inserted at least once.
  bool has_null() const { return has_null_.load(std::memory_order_relaxed); }
  void set_has_null(bool seen) { has_null_.store(seen, std::memory_order_relaxed); }
  /// Of a cell without a value: 0 but in a frozen set that has it as a value of its own.
  virtual code_t code_of_null() const { return k_unknown; }

 protected:
  /// Whether `text` stands for the unknown value. Throws where that is not admitted.
  bool note_null(std::string_view text);
  /// Takes notice of an unknown cell. Throws where that is not admitted.
  void note_unknown(unsigned long row);
  bool admits_negative() const { return admits_negative_; }

 private:
  std::atomic<bool> has_null_ = false;
  bool admits_null_;
  bool admits_negative_ = true;
  std::string null_value_;
  std::string type_;
};

}  // namespace orvik::impls
