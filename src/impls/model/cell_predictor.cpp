#include "impls/model/cell_predictor.h"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "impls/evaluation/batch_predictor.h"
#include "impls/values/cell_reader.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_other_attributes[] = "the cells are not those of the model's attributes";
constexpr char k_texts_of_numbers[] = "texts in a column of numbers";
constexpr char k_numbers_of_texts[] = "numbers in a column of texts";
constexpr char k_no_text[] = "a place behind the texts";

/// In place of a code, until it is counted.
constexpr std::uint32_t k_unseen = ~0U;

std::uint32_t narrow(code_t code) {
  return code == k_no_code ? k_unseen : static_cast<std::uint32_t>(code);
}

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
      place(first, n, codes, stride);
      return 0;
    }
    unsigned long unseen = 0;
    for (unsigned long i = 0; i < n; ++i) codes[i * stride] = unknown_;
    if (is_void()) return 0;
    visit_cells(cells_, [&](const auto& reader) {
      for (unsigned long i = first; i < first + n; ++i, codes += stride) {
        const std::uint32_t code = is_marked_unknown(cells_, i) ? unknown_ : code_of(reader[i]);
        unseen += code == k_unseen ? 1 : 0;
        *codes = code == k_unseen ? unknown_ : code;
      }
    });
    return unseen;
  }

 private:
  bool is_void() const { return cells_.of == cell_array::NONE || column_.type() == column::IGNORE; }

  void place(unsigned long first, unsigned long n, std::uint32_t* codes, std::size_t stride) const {
    try {
      limits_->place_cells(cells_, first, n, codes, stride);
    } catch (const std::runtime_error& failure) {
      fail(failure.what());
    }
  }

  template <class S>
  std::uint32_t code_of(S value) const {
    if (is_nan(value)) return unknown_;
    if (cells_.texts == nullptr) return narrow(column_.values()->code_of_number(value));
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

cell_predictor::cell_predictor(const dtree& model)
    : model_(model), table_(*model.get_training_table()) {
  flat_tree::require_narrow(table_);
  const std::vector<voter> voters = model.trees().voters();
  std::vector<std::optional<flat_tree>> flat(voters.size());
  const zel::util::run_context& run = model.run();
  run.with_workers([&] {
    const leaf_rule rule = model.trees().decides().leaves(/*alone=*/false);
    run.for_each_index(voters.size(),
                       [&](unsigned long i) { flat[i].emplace(table_, voters[i], rule); });
  });
  for (std::optional<flat_tree>& tree : flat) trees_.push_back(std::move(*tree));
  for (const voter& each : voters) {
    votes_.push_back(each.votes);
    all_votes_ += each.votes;
  }
  find_limits();
}

cell_predictor::~cell_predictor() = default;

void cell_predictor::find_limits() {
  std::vector<std::vector<code_t>> codes(table_.n_attributes());
  for (const flat_tree& tree : trees_) tree.add_limits(codes);
  limits_.resize(codes.size());
  for (unsigned long a = 0; a < codes.size(); ++a) {
    const column& c = table_.column_of(a);
    if (c.type() != column::CONTINUOUS || !c.values()->is_numeric()) continue;
    std::ranges::sort(codes[a]);
    codes[a].erase(std::unique(codes[a].begin(), codes[a].end()), codes[a].end());
    limits_[a] = c.values()->limits_at(codes[a]);
  }
}

void cell_predictor::codes_of(std::span<const cell_array> attributes, unsigned long first,
                              unsigned long n, std::uint32_t* codes) const {
  if (attributes.size() != table_.n_attributes()) throw std::runtime_error(k_other_attributes);
  for (unsigned long a = 0; a < attributes.size(); ++a) {
    const coder one(table_.column_of(a), limits_[a].get(), attributes[a]);
    one.code(first, n, codes + a, attributes.size());
  }
}

void cell_predictor::predict(std::span<const cell_array> attributes, unsigned long n,
                             double* shares, unseen_values* unseen,
                             const zel::util::run_context& run) const {
  if (attributes.size() != table_.n_attributes()) throw std::runtime_error(k_other_attributes);
  std::vector<coder> coders;
  for (unsigned long a = 0; a < attributes.size(); ++a) {
    coders.emplace_back(table_.column_of(a), limits_[a].get(), attributes[a]);
  }
  const unsigned long width = coders.size(), k = table_.n_class_codes();
  const unsigned long at_once = cases_at_once(n, k, run);
  const unsigned long blocks = (n + at_once - 1) / at_once;
  std::vector<std::atomic<unsigned long>> n_unseen(width);
  const auto predict_one = [&](unsigned long b) {
    const unsigned long first = b * at_once, size = std::min(at_once, n - first);
    thread_local std::vector<std::uint32_t> codes;
    codes.resize(size * width);
    for (unsigned long a = 0; a < width; ++a) {
      const unsigned long some = coders[a].code(first, size, codes.data() + a, width);
      if (some > 0) n_unseen[a] += some;
    }
    predict_block({codes, width}, {shares + first * k, size * k}, run);
  };
  if (blocks < 2) {
    for (unsigned long b = 0; b < blocks; ++b) predict_one(b);
  } else {
    run.with_workers([&] { run.for_each_index(blocks, predict_one); });
  }
  if (unseen == nullptr) return;
  for (unsigned long a = 0; a < width; ++a) {
    if (n_unseen[a] > 0) unseen->emplace_back(coders[a].name(), n_unseen[a].load());
  }
}

void cell_predictor::predict_block(const case_block& cases, std::span<double> shares,
                                   const zel::util::run_context& run) const {
  if (!model_.votes()) return walk(cases, shares);
  std::ranges::fill(shares, 0.0);
  model_.trees().answer() == combination::votes ? add_votes(cases, shares, run)
                                                : add_shares(cases, shares, run);
  for (double& share : shares) share /= all_votes_;
  const std::size_t k = table_.n_class_codes();
  for (std::size_t at = 0; at < shares.size(); at += k) {
    model_.trees().decides().adjust(shares.subspan(at, k));
  }
}

void cell_predictor::walk(const case_block& cases, std::span<double> shares) const {
  thread_local std::vector<code_t> wide;
  thread_local std::vector<double> of_case;
  const std::size_t k = table_.n_class_codes();
  for (std::size_t i = 0; i < shares.size() / k; ++i) {
    const std::span<const std::uint32_t> codes = cases.of_case(i);
    wide.assign(codes.begin(), codes.end());
    model_.predict_distribution(wide, of_case);
    std::ranges::copy(of_case, shares.begin() + static_cast<long>(i * k));
  }
}

void cell_predictor::add_votes(const case_block& cases, std::span<double> shares,
                               const zel::util::run_context& run) const {
  const std::size_t k = table_.n_class_codes();
  for (std::size_t t = 0; t < trees_.size(); ++t) {
    run.require_not_cancelled();
    trees_[t].predict(cases, shares.size() / k,
                      [&](std::size_t i, const decision_tree::prediction& found, double) {
                        shares[i * k + found.first] += votes_[t];
                      });
  }
}

void cell_predictor::add_shares(const case_block& cases, std::span<double> shares,
                                const zel::util::run_context& run) const {
  thread_local std::vector<std::uint32_t> all;
  all.resize(shares.size() / table_.n_class_codes());
  std::iota(all.begin(), all.end(), 0U);
  for (std::size_t t = 0; t < trees_.size(); ++t) {
    run.require_not_cancelled();
    trees_[t].add_shares(cases, all, votes_[t], shares, [](std::size_t, double) {});
  }
}

}  // namespace orvik::impls
