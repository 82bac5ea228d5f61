// Models to and from binary streams.
//
// The table is the schema, whose value sets give codes and thresholds their meaning; the
// training rows stay behind.
//
// There are three layouts. The first holds single trees, bagged trees and forests; what it has no
// place for is written in the second: a depth that no model has, the number of the layout, how
// trees are grown and answer, then the first layout, with its votes before every tree. A model that
// decides by other than the largest share is written in the third: the second, with the decision
// behind the number of the layout.

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "impls/model/dtree.h"
#include "impls/trees/stored_tree.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/iomem.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_bad_parameter[] = "a parameter of the model is out of range";
constexpr char k_no_table_of_trees[] = "trees without a table";
constexpr char k_no_class[] = "a table without a class";
constexpr char k_bad_trees[] = "a wrong number of trees";
constexpr char k_no_attributes[] = "a feature selection without attributes";
constexpr char k_bad_attributes[] = "usable attributes of another table";
constexpr char k_bad_layout[] = "a layout of models of another version";
constexpr char k_bad_votes[] = "a tree with votes that are none";
constexpr char k_bad_decision[] = "a decision on other classes";
constexpr char k_bad_matrix[] = "a confusion matrix of other classes";

constexpr char k_bad_appendix[] = "what stands behind the model is no appendix";
constexpr char k_new_appendix[] = "its appendix is of a later version";
constexpr char k_damaged_appendix[] = "its appendix is damaged";

// An appendix: these bytes, its version, its text, the CRC-32 of the text.
constexpr std::array<char, 8> k_appendix = {'o', 'r', 'v', 'i', 'k', '+', '\r', '\n'};
constexpr std::uint32_t k_appendix_version = 1;
constexpr std::size_t k_largest_appendix = 1UL << 28;

using zel::inpout::ibinstream;
using zel::inpout::obinstream;
using zel::inpout::require;

constexpr unsigned long k_marked_depth = ~1UL;
constexpr unsigned long k_second_layout = 2;
constexpr unsigned long k_third_layout = 3;

/// Strategies that are none pre-prune, and keep their number.
constexpr unsigned long k_any_strategy = 1UL << 32;

/// Reads an enumerator; `end` is one past the last.
template <class Enum>
Enum read_enum(ibinstream& in, unsigned long end) {
  unsigned int value = 0;
  in >> value;
  require(value < end, k_bad_parameter);
  return static_cast<Enum>(value);
}

ensemble_kind kind_of(bool ensemble, bool bagging) {
  require(ensemble || !bagging, k_bad_parameter);
  if (!ensemble) return ensemble_kind::single;
  return bagging ? ensemble_kind::bagging : ensemble_kind::forest;
}

void write_bits(obinstream& out, const zel::adt::bitmap* bits) {
  out << (bits != nullptr);
  if (bits == nullptr) return;
  out << *bits;
}

std::unique_ptr<zel::adt::bitmap> read_bits(ibinstream& in) {
  if (!in.read_presence()) return nullptr;
  auto bits = std::make_unique<zel::adt::bitmap>();
  in >> *bits;
  return bits;
}

std::uint32_t checksum_of(const std::string& bytes) {
  uLong sum = crc32(0, nullptr, 0);
  for (std::size_t at = 0; at < bytes.size(); at += 1U << 30) {
    const auto length = static_cast<uInt>(std::min<std::size_t>(bytes.size() - at, 1U << 30));
    sum = crc32(sum, reinterpret_cast<const Bytef*>(bytes.data()) + at, length);
  }
  return static_cast<std::uint32_t>(sum);
}

void write_appendix(obinstream& out, const std::string& bytes) {
  out.write_array(std::span<const char>(k_appendix));
  out << k_appendix_version << bytes << checksum_of(bytes);
}

std::string read_appendix(ibinstream& in) {
  const std::vector<char> begin = in.read_array<char>(k_appendix.size());
  require(std::ranges::equal(begin, k_appendix), k_bad_appendix);
  std::uint32_t version = 0, sum = 0;
  in >> version;
  require(version == k_appendix_version, k_new_appendix);
  std::string bytes = in.read_text(k_largest_appendix);
  in >> sum;
  require(sum == checksum_of(bytes), k_damaged_appendix);
  return bytes;
}

/// Writes trees in their order, as many at a time as there are threads to put them into bytes.
/// write_tree(out, i) writes one of n.
template <class WriteTree>
void write_side_by_side(obinstream& out, const zel::util::run_context& run, unsigned long n,
                        const WriteTree& write_tree) {
  constexpr unsigned long k_first_room = 1UL << 16, k_many = 1000;
  const unsigned long at_once = 1 + n / k_many;  // by a worker: many trees are small ones
  std::vector<zel::inpout::iomem> bytes(std::min(run.n_slots(), n));
  for (unsigned long first = 0; first < n; first += bytes.size() * at_once) {
    run.with_workers([&] {
      run.for_each_index(bytes.size(), [&](unsigned long i) {
        bytes[i].open(k_first_room);
        obinstream own(&bytes[i], /*owns=*/false);
        const unsigned long begin = first + i * at_once;
        for (unsigned long tree = begin; tree < std::min(begin + at_once, n); ++tree) {
          write_tree(own, tree);
        }
      });
    });
    for (zel::inpout::iomem& part : bytes) {
      out.write_array(std::span<const char>(part.bytes()));
      part.close();
    }
  }
}

/// Whether the matrix has the classes of the table, under their names.
bool fits(const conf_matrix& matrix, const table& t) {
  if (matrix.size() != t.n_class_codes()) return false;
  for (code_t c = 0; c < matrix.size(); ++c) {
    if (matrix.class_name(c) != t.class_column().values()->get_value(c)) return false;
  }
  return true;
}

vote_t read_votes(ibinstream& in, bool with_votes) {
  vote_t votes = 1;
  if (with_votes) in >> votes;
  require(votes > 0 && std::isfinite(votes), k_bad_votes);
  return votes;
}

void read_single(ibinstream& in, const table& t, bool with_votes, ensemble& to) {
  const vote_t votes = read_votes(in, with_votes);
  auto tree = std::make_unique<decision_tree>();
  tree->bin_in(in, &t, nullptr);
  to.add(t, std::move(tree), {/*seed=*/0, votes});
}

/// Reads n members, some at a time, which the workers pack side by side: one each, or as many small
/// ones as are worth waking them. Memory grows with what is read.
void read_members(ibinstream& in, const zel::util::run_context& run, const table& t,
                  bool with_votes, unsigned long n, ensemble& to) {
  constexpr unsigned long k_nodes_at_once = 10000;
  struct member {
    vote_t votes = 1;
    stored_tree tree;
  };
  std::vector<std::unique_ptr<member>> some;  // the memory of earlier ones is used again
  while (to.n_trees() < n) {
    const unsigned long left = n - to.n_trees();
    unsigned long size = 0;
    for (unsigned long nodes = 0; size < left && (size < run.n_slots() || nodes < k_nodes_at_once);
         ++size) {
      if (size == some.size()) some.push_back(std::make_unique<member>());
      some[size]->votes = read_votes(in, with_votes);
      some[size]->tree.read(in, t);
      nodes += some[size]->tree.size();
    }
    run.with_workers([&] {
      to.add_side_by_side(
          run, t, size, [&](unsigned long i) { return packed_tree(t, some[i]->tree); },
          [&](unsigned long i) {
            return ensemble::about{/*seed=*/0, some[i]->votes};
          });
    });
  }
}

}  // namespace

bool parameters::fit_first_layout() const {
  const bool grown = how == growth{} && draws == resampling{} && answer == combination::votes;
  return grown && kind != ensemble_kind::boosting && max_depth != k_marked_depth;
}

void parameters::write_growth(obinstream& out, const decision& how_decided) const {
  const bool plain = how_decided.is_empty();
  out << k_marked_depth << (plain ? k_second_layout : k_third_layout);
  if (!plain) how_decided.bin_out(out);
  out << static_cast<unsigned char>(how.attributes.how) << how.attributes.amount << how.free
      << how.random_cuts << how.one_value << draws.share << draws.replace << draws.balanced
      << static_cast<unsigned char>(answer) << (kind == ensemble_kind::boosting);
}

/// @return whether the model is boosted.
bool parameters::read_growth(ibinstream& in, decision& how_decided) {
  unsigned long layout = 0;
  unsigned char rule = 0, answers = 0;
  bool boosted = false;
  in >> layout;
  require(layout == k_second_layout || layout == k_third_layout, k_bad_layout);
  if (layout == k_third_layout) how_decided = decision::bin_in(in);
  decides = how_decided.as_asked();
  calibrated = how_decided.maps().how();
  in >> rule >> how.attributes.amount >> how.free >> how.random_cuts >> how.one_value >>
      draws.share >> draws.replace >> draws.balanced >> answers >> boosted;
  require(rule <= attribute_draw::LOGARITHM && draws.is_valid(), k_bad_parameter);
  require(answers <= static_cast<unsigned char>(combination::shares), k_bad_parameter);
  how.attributes.how = static_cast<attribute_draw::rule>(rule);
  require(how.attributes.is_valid(), k_bad_parameter);
  answer = static_cast<combination>(answers);
  return boosted;
}

void dtree::bin_out(obinstream& out) const {
  const bool first = parameters_.fit_first_layout() && decides().is_empty();
  if (!first) parameters_.write_growth(out, decides());
  out << parameters_.max_depth << (parameters_.kind == ensemble_kind::bagging) << training_cm_.get()
      << elapsed_;
  write_bits(out, attributes_.get());
  out << parameters_.is_ensemble() << static_cast<unsigned int>(search_.made_by) << name_
      << trees_.n_trees() << parameters_.conf_level << parameters_.min_obj
      << static_cast<unsigned int>(parameters_.pruning)
      << static_cast<unsigned int>(parameters_.split) << table_.get();
  const auto write_tree = [&](obinstream& to, unsigned long i) {
    if (!first) to << trees_.votes(i);
    trees_.tree(i, /*complete=*/false)->bin_out(to, table_.get());
  };
  if (run_->n_workers > 1 && trees_.n_trees() > 1) {
    write_side_by_side(out, *run_, trees_.n_trees(), write_tree);
  } else {
    for (unsigned long i = 0; i < trees_.n_trees(); ++i) write_tree(out, i);
  }
  if (!appendix_.empty()) write_appendix(out, appendix_);
}

void dtree::bin_in(ibinstream& in) {
  unsigned long n_trees = 0;
  conf_matrix* matrix = nullptr;
  bool bagging = false, is_ensemble = false;
  in >> parameters_.max_depth;
  const bool first = parameters_.max_depth != k_marked_depth;
  decision how_decided;
  const bool boosted = !first && parameters_.read_growth(in, how_decided);
  if (!first) in >> parameters_.max_depth;
  in >> bagging >> matrix;
  training_cm_.reset(matrix);
  in >> elapsed_;
  attributes_ = read_bits(in);
  in >> is_ensemble;
  parameters_.kind = boosted ? ensemble_kind::boosting : kind_of(is_ensemble, bagging);
  trees_ = ensemble(parameters_.kind, parameters_.answer, std::move(how_decided));
  search_.made_by = read_enum<_FeatureSelection>(in, model::N_FEATURE_SELECTIONS);
  search_.method = search_.made_by;
  in >> name_ >> n_trees >> parameters_.conf_level >> parameters_.min_obj;
  parameters_.pruning = read_enum<_PruningStrategy>(in, k_any_strategy);
  parameters_.split = read_enum<_SplitType>(in, model::N_SPLIT_TYPES);
  table* schema = nullptr;
  in >> schema;
  table_.reset(schema);
  require(table_ || n_trees == 0, k_no_table_of_trees);
  require(!table_ || table_->has_class(), k_no_class);
  require(parameters_.is_ensemble() || n_trees <= 1, k_bad_trees);
  if (trees_.is_single() && n_trees == 1) {
    read_single(in, *table_, /*with_votes=*/!first, trees_);
  } else if (n_trees > 0) {
    read_members(in, *run_, *table_, /*with_votes=*/!first, n_trees, trees_);
  }
  parameters_.n_trees = n_trees == 0 ? 1 : n_trees;
  if (!in.at_end()) appendix_ = read_appendix(in);
  check_read();
}

/// Refuses parts that do not belong together.
void dtree::check_read() const {
  require(parameters_.conf_level > 0 && parameters_.conf_level <= 1, k_bad_parameter);
  require(parameters_.min_obj > 0, k_bad_parameter);
  require(search_.made_by == model::NO_SELECTION || attributes_, k_no_attributes);
  if (!table_) return;
  require(!attributes_ || attributes_->size() == table_->n_attributes(), k_bad_attributes);
  require(decides().fits(table_->n_class_codes()), k_bad_decision);
  require(!training_cm_ || fits(*training_cm_, *table_), k_bad_matrix);
}

obinstream& operator<<(obinstream& out, const dtree& model) {
  model.bin_out(out);
  return out;
}

ibinstream& operator>>(ibinstream& in, dtree& model) {
  model.bin_in(in);
  return in;
}

}  // namespace orvik::impls
