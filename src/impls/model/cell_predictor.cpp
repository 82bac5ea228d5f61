#include "impls/model/cell_predictor.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <stdexcept>

#include "impls/values/cell_reader.h"
#include "zel/util/blocks.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_other_attributes[] = "the cells are not those of the model's attributes";
constexpr char k_texts_of_numbers[] = "texts in a column of numbers";
constexpr char k_numbers_of_texts[] = "numbers in a column of texts";
constexpr char k_no_text[] = "a place behind the texts";
constexpr char k_other_codes[] = "the codes are not those of the model's attributes";
constexpr char k_no_classes[] = "the order is none of the model's classes";

/// In place of a code, until it is counted.
constexpr std::uint32_t k_unseen = ~0U;

std::uint32_t narrow(code_t code) {
  return code == k_no_code ? k_unseen : static_cast<std::uint32_t>(code);
}

/// Finds the class of shares by its place in an order of classes.
class class_chooser {
 public:
  /// Both must outlive this.
  class_chooser(const decision& how, std::span<const code_t> order, unsigned long n_class_codes)
      : how_(how), order_(order), places_(n_class_codes) {
    if (order.empty()) throw std::runtime_error(k_no_classes);
    for (std::uint32_t place = 0; place < order.size(); ++place) {
      if (order[place] >= n_class_codes) throw std::runtime_error(k_no_classes);
      places_[order[place]] = place;
    }
  }

  std::uint32_t place_of(std::span<const double> shares) const {
    return how_.costs() != nullptr ? places_[how_.decide(shares)] : first_of_largest(shares);
  }

 private:
  std::uint32_t first_of_largest(std::span<const double> shares) const {
    std::uint32_t best = 0;
    double most = shares[order_[0]];
    for (std::uint32_t place = 1; place < order_.size(); ++place) {
      const double share = shares[order_[place]];
      if (share <= most) continue;
      most = share;
      best = place;
    }
    return best;
  }

  const decision& how_;
  std::span<const code_t> order_;
  std::vector<std::uint32_t> places_;  // by class code; 0 of others
};

/// The codes that a column has for texts.
std::vector<std::uint32_t> codes_of_texts(const o_set& values,
                                          const std::vector<std::string>& texts) {
  std::vector<std::uint32_t> codes;
  for (const std::string& text : texts) {
    code_t code = values.code_of_null();
    const bool known = text == values.null_value() || values.get_order(text.c_str(), code);
    codes.push_back(known ? narrow(code) : k_unseen);
  }
  return codes;
}

}  // namespace

/// The cells of one attribute in the codes of the model.
class cell_predictor::coder {
 public:
  coder(const column& c, const number_limits* limits, const cell_array& cells)
      : column_(c), limits_(limits), cells_(cells), unknown_(narrow(c.values()->code_of_null())) {
    if (is_void()) return;
    const bool numeric = c.values()->is_numeric();
    if (cells.texts != nullptr && numeric) fail(k_texts_of_numbers);
    if (cells.texts == nullptr && !numeric) fail(k_numbers_of_texts);
    if (!numeric) code_of_ = codes_of_texts(*c.values(), *cells.texts);
  }

  const std::string& name() const { return column_.name(); }

  /// @return how many of the cells have a value that training did not have.
  unsigned long code(unsigned long first, unsigned long n, std::uint32_t* codes,
                     std::size_t stride) const {
    if (limits_ != nullptr) {
      named([&] { limits_->place_cells(cells_, first, n, codes, stride); });
      return 0;
    }
    if (is_void()) {
      for (unsigned long i = 0; i < n; ++i) codes[i * stride] = unknown_;
      return 0;
    }
    return look_up(first, n, [&](std::uint32_t code) {
      *codes = code;
      codes += stride;
    });
  }
  /// The same, and throws alike, where nobody asks for the codes.
  unsigned long look(unsigned long first, unsigned long n) const {
    if (limits_ == nullptr) return is_void() ? 0 : look_up(first, n, [](std::uint32_t) {});
    named([&] { require_finite(cells_, first, n); });
    return 0;
  }

 private:
  bool is_void() const { return cells_.of == cell_array::NONE || column_.type() == column::IGNORE; }

  /// A number and its code: of equal neighbours one is looked up.
  template <class S>
  struct numbered {
    S value;
    std::uint32_t code;
  };

  template <class Take>
  unsigned long look_up(unsigned long first, unsigned long n, const Take& take) const {
    unsigned long unseen = 0;
    visit_cells(cells_, [&](const auto& reader) {
      std::optional<numbered<std::decay_t<decltype(reader[first])>>> last;
      for (unsigned long i = first; i < first + n; ++i) {
        const std::uint32_t code =
            is_marked_unknown(cells_, i) ? unknown_ : code_of(reader[i], last);
        unseen += code == k_unseen ? 1 : 0;
        take(code == k_unseen ? unknown_ : code);
      }
    });
    return unseen;
  }

  template <class Work>
  void named(const Work& work) const {
    try {
      work();
    } catch (const std::runtime_error& failure) {
      fail(failure.what());
    }
  }

  template <class S>
  std::uint32_t code_of(S value, std::optional<numbered<S>>& last) const {
    if (is_nan(value)) return unknown_;
    if (cells_.texts == nullptr) {
      if (!last || last->value != value) {
        last = {value, narrow(column_.values()->code_of_number(value))};
      }
      return last->code;
    }
    const auto place =
        static_cast<std::int64_t>(value);  // NOLINT(bugprone-signed-char-misuse): a number
    if (place < 0) return unknown_;
    if (static_cast<std::size_t>(place) >= code_of_.size()) fail(k_no_text);
    return code_of_[static_cast<std::size_t>(place)];
  }

  [[noreturn]] void fail(const char* what) const {
    throw std::runtime_error("column " + column_.name() + ": " + what);
  }

  const column& column_;
  const number_limits* limits_;
  const cell_array& cells_;
  std::uint32_t unknown_;               // of cells without a value
  std::vector<std::uint32_t> code_of_;  // by text
};

void require_codes(const table& schema, std::span<const code_t> codes, unsigned long n) {
  const unsigned long width = schema.n_attributes();
  if (codes.size() != n * width) throw std::runtime_error(k_other_codes);
  for (unsigned long a = 0; a < width; ++a) {
    const column& c = schema.column_of(a);
    if (c.type() != column::DISCRETE) continue;  // of numbers any does
    const code_t last = c.values()->size_of_known();
    for (unsigned long i = a; i < codes.size(); i += width) {
      if (codes[i] > last) throw std::runtime_error(k_other_codes);
    }
  }
}

cell_predictor::cell_predictor(const dtree& model)
    : model_(model),
      table_(*model.get_training_table()),
      predictor_(model.make_predictor(table_)),
      limits_(table_.n_attributes()) {
  const std::vector<std::vector<code_t>> codes = predictor_.limits();
  for (unsigned long a = 0; a < codes.size(); ++a) {
    const column& c = table_.column_of(a);
    if (c.type() != column::CONTINUOUS || !c.values()->is_numeric()) continue;
    limits_[a] = c.values()->limits_at(codes[a]);
  }
  predictor_.take_asked_alone();
}

cell_predictor::~cell_predictor() = default;

/// A few trees stay in the cache anyway, and the codes of so many cases with them.
unsigned long cell_predictor::at_once(unsigned long n, const zel::util::run_context& run) const {
  constexpr unsigned long k_few_trees = 4, k_codes = 1UL << 15, k_least = 512;
  const unsigned long most = cases_at_once(n, table_.n_class_codes(), run);
  if (predictor_.n_trees() > k_few_trees) return most;
  return std::min(most, std::max(k_least, k_codes / (predictor_.attributes().size() + 1)));
}

/// Calls predict_block(first, size) for blocks of all n cases, on the workers.
template <class PredictBlock>
void cell_predictor::for_each_block(unsigned long n, const zel::util::run_context& run,
                                    const PredictBlock& predict_block) const {
  const zel::util::blocks blocks(n, at_once(n, run));
  const auto predict_one = [&](unsigned long b) {
    const auto [first, size] = blocks[b];
    predict_block(first, size);
  };
  if (blocks.count() < 2) {
    for (unsigned long b = 0; b < blocks.count(); ++b) predict_one(b);
  } else {
    run.with_workers([&] { run.for_each_index(blocks.count(), predict_one); });
  }
}

void cell_predictor::predict_codes(std::span<const code_t> codes, std::span<outcome> outcomes,
                                   std::span<double> shares, std::span<double> plain) const {
  require_codes(table_, codes, outcomes.size());
  const unsigned long width = table_.n_attributes();
  const unsigned long kept = shares.empty() ? 0 : table_.n_class_codes();
  const unsigned long kept_plain = plain.empty() ? 0 : kept;
  const std::vector<unsigned long>& asked = predictor_.attributes();
  for_each_block(outcomes.size(), run(), [&](unsigned long first, unsigned long size) {
    std::vector<std::uint32_t> narrow;
    narrow.reserve(size * asked.size());
    for (unsigned long i = first; i < first + size; ++i) {
      for (const unsigned long a : asked) {
        narrow.push_back(
            static_cast<std::uint32_t>(std::min<code_t>(codes[i * width + a], UINT32_MAX)));
      }
    }
    predictor_.predict({narrow, asked.size()}, outcomes.subspan(first, size),
                       shares.subspan(first * kept, size * kept),
                       plain.subspan(first * kept_plain, size * kept_plain));
  });
}

void cell_predictor::codes_of(std::span<const cell_array> attributes, unsigned long first,
                              unsigned long n, std::uint32_t* codes,
                              std::span<unsigned long> unseen) const {
  if (attributes.size() != table_.n_attributes()) throw std::runtime_error(k_other_attributes);
  for (unsigned long a = 0; a < attributes.size(); ++a) {
    const coder one(table_.column_of(a), limits_[a].get(), attributes[a]);
    unseen[a] += one.code(first, n, codes + a, attributes.size());
  }
}

/// Calls take(first, size, codes) for blocks of all n cases, on the workers; the codes are those of
/// the attributes that are asked for.
template <class Take>
void cell_predictor::code_blocks(std::span<const cell_array> attributes, unsigned long n,
                                 unseen_values* unseen, const zel::util::run_context& run,
                                 const Take& take) const {
  if (attributes.size() != table_.n_attributes()) throw std::runtime_error(k_other_attributes);
  std::vector<coder> coders;
  for (unsigned long a = 0; a < attributes.size(); ++a) {
    coders.emplace_back(table_.column_of(a), limits_[a].get(), attributes[a]);
  }
  const std::vector<unsigned long>& asked = predictor_.attributes();
  std::vector<std::atomic<unsigned long>> n_unseen(coders.size());
  for_each_block(n, run, [&](unsigned long first, unsigned long size) {
    std::vector<std::uint32_t> codes(size * asked.size());
    for (unsigned long a = 0, place = 0; a < coders.size(); ++a) {
      const bool is_asked = place < asked.size() && asked[place] == a;
      const unsigned long some =
          is_asked ? coders[a].code(first, size, codes.data() + place++, asked.size())
                   : coders[a].look(first, size);
      if (some > 0) n_unseen[a] += some;
    }
    take(first, size, case_block{codes, asked.size()});
  });
  if (unseen == nullptr) return;
  for (unsigned long a = 0; a < coders.size(); ++a) {
    if (n_unseen[a] > 0) unseen->emplace_back(coders[a].name(), n_unseen[a].load());
  }
}

void cell_predictor::predict(std::span<const cell_array> attributes, unsigned long n,
                             double* shares, unseen_values* unseen,
                             const zel::util::run_context& run) const {
  const unsigned long k = table_.n_class_codes();
  code_blocks(attributes, n, unseen, run,
              [&](unsigned long first, unsigned long size, const case_block& cases) {
                predictor_.judge(cases, {shares + first * k, size * k}, run);
              });
}

void cell_predictor::choose(std::span<const cell_array> attributes, unsigned long n,
                            std::span<const code_t> order, std::uint32_t* places,
                            unseen_values* unseen, const zel::util::run_context& run) const {
  const unsigned long k = table_.n_class_codes();
  const class_chooser chooser(model_.decides(), order, k);
  code_blocks(attributes, n, unseen, run,
              [&](unsigned long first, unsigned long size, const case_block& cases) {
                std::vector<double> shares(size * k);
                predictor_.judge(cases, shares, run);
                for (unsigned long i = 0; i < size; ++i) {
                  places[first + i] = chooser.place_of({shares.data() + i * k, k});
                }
              });
}

}  // namespace orvik::impls
