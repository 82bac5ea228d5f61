#include "impls/model/ensemble.h"

#include <algorithm>
#include <cassert>

#include "impls/trees/stored_tree.h"
#include "zel/inpout/iomem.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_room_at_first = 1UL << 12;

/// A packed tree as a model file has it.
std::string in_a_file(const table& t, std::string_view packed) {
  zel::inpout::iomem memory;
  memory.open(k_room_at_first);
  zel::inpout::obinstream out(&memory, /*owns=*/false);
  packed_tree::of_bytes(t, packed).unpack(/*complete=*/false)->bin_out(out, &t);
  return std::string(memory.bytes());
}

/// The packed tree again, of bytes that are checked.
std::string from_a_file(const table& t, std::string_view bytes) {
  zel::inpout::iomem memory;
  memory.open(const_cast<char*>(bytes.data()), bytes.size(), bytes.size());  // which is only read
  zel::inpout::ibinstream in(&memory, /*owns=*/false);
  stored_tree tree;
  tree.read(in, t);
  in.require_end();
  return packed_tree(t, tree).to_bytes();
}

}  // namespace

ensemble ensemble::clone(const table& t) const {
  ensemble copy(kind_, answer_, decides_);
  for (const member& m : members_) {
    member& made = copy.members_.emplace_back();
    static_cast<about&>(made) = m;
    made.packed = m.packed;
    if (m.tree) made.tree.reset(m.tree->clone(t, nullptr));
  }
  return copy;
}

std::shared_ptr<const decision_tree> ensemble::tree(unsigned long i, bool complete) const {
  const member& m = members_[i];
  if (!m.tree) return m.packed->unpack(complete);
  return {std::shared_ptr<void>(), m.tree.get()};  // not owned
}

ensemble::member ensemble::keep(const table& t, std::unique_ptr<decision_tree> tree,
                                const about& how) const {
  member made{how, nullptr, std::nullopt};
  is_single() ? void(made.tree = std::move(tree)) : void(made.packed.emplace(t, *tree));
  return made;
}

zel::util::kept_form ensemble::form_of(const table& t) {
  return {
      [&t](std::string_view packed) { return in_a_file(t, packed); },
      [&t](unsigned long, std::string_view bytes) { return std::optional(from_a_file(t, bytes)); }};
}

void ensemble::add(const table& t, std::unique_ptr<decision_tree> tree, const about& how) {
  members_.push_back(keep(t, std::move(tree), how));
}

std::vector<voter> ensemble::voters() const {
  std::vector<voter> all;
  for (const member& m : members_) {
    m.visit([&](const auto& tree) { all.push_back({&tree, m.votes}); });
  }
  return all;
}

/// The shares that a tree answers by.
template <class Tree>
void ensemble::add_answer(const Tree& tree, const std::vector<code_t>& codes, vote_t votes,
                          std::span<double> sums) const {
  const leaf_rule rule = decides_.leaves(/*alone=*/!is_put_to_vote());
  rule.known ? tree.add_probabilities(codes, votes, sums, rule.prior)
             : tree.add_shares(codes, votes, sums);
}

double ensemble::predict(const table& t, const std::vector<code_t>& codes,
                         decision_tree::prediction& result, double weight) const {
  assert(!empty());
  const auto by_tree = [&](const auto& tree) {
    return tree.predict_class(t, codes, result, weight, 0);
  };
  if (!is_put_to_vote() && decides_.is_plain()) return members_[0].visit(by_tree);
  vote_count votes;
  votes.start(1, t.n_class_codes());
  double depths = 0;
  for (const member& m : members_) {
    depths += m.visit(by_tree);
    if (is_put_to_vote() && answer_ == combination::votes) {
      votes.add(0, result.first, m.votes);
    } else {
      m.visit([&](const auto& tree) { add_answer(tree, codes, m.votes, votes.of_case(0)); });
    }
  }
  if (!decides_.is_plain()) {
    const vote_count::verdict found = votes.decide_shares(0, n_votes(), decides_);
    result = {found.predicted, found.votes};
    return depths;
  }
  const vote_count::verdict found = votes.decide(0);
  result = {found.predicted, found.share_of(n_votes())};
  return depths;
}

void ensemble::predict_distribution(const table& t, const std::vector<code_t>& codes,
                                    std::vector<double>& shares, std::vector<double>* plain) const {
  assert(!empty());
  shares.assign(t.n_class_codes(), 0.0);
  for (const member& m : members_) {
    m.visit([&](const auto& tree) {
      if (is_put_to_vote() && answer_ == combination::shares) {
        add_answer(tree, codes, m.votes, shares);
      } else {
        tree.add_probabilities(codes, m.votes, shares, decides_.prior());
      }
    });
  }
  const vote_t all = n_votes();
  for (double& share : shares) share /= all;
  if (plain != nullptr) *plain = shares;
  decides_.adjust(shares);
}

unsigned long ensemble::depth() const {
  unsigned long deepest = 0;
  for (const member& m : members_) {
    deepest = std::max(deepest, m.visit([](const auto& tree) { return tree.depth(); }));
  }
  return deepest;
}

double ensemble::epl() const {
  const unsigned long all = sum([](const auto& tree) { return tree.epl(); });
  return empty() ? 0.0 : static_cast<double>(all) / static_cast<double>(n_trees());
}

zel::adt::bitmap ensemble::used_attributes(unsigned long n) const {
  zel::adt::bitmap used;
  used.resize(n);
  for (const member& m : members_) {
    m.visit([&](const auto& tree) { tree.set_used_atts(used); });
  }
  return used;
}

}  // namespace orvik::impls
