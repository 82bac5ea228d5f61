#include "impls/growing/told_branches.h"

#include "impls/splitting/counted_cases.h"
#include "impls/splitting/node_cases.h"

namespace orvik::impls::growing {

namespace {

template <class Codes, class Case>
bool meets_unknown_value(const Codes& codes, std::span<const Case> cases) {
  return std::ranges::any_of(cases, [&](const Case& c) { return codes[c.row] == k_unknown; });
}

}  // namespace

/// Writes the branches of the cases; `ranges` receives the bounds of branches of several codes.
template <class Codes, class BranchOf, class Case>
void told_branches::write(const Codes& codes, BranchOf branch_of, std::span<const Case> cases,
                          bool some_unknown, code_writer& out, bounds* ranges) {
  for (const Case& c : cases) {
    const auto code = static_cast<std::uint32_t>(codes[c.row]);
    if (code == k_unknown) {
      out.write(0);
      continue;
    }
    const std::size_t b = branch_of(code);
    out.write(b + some_unknown);
    if constexpr (BranchOf::k_joins_codes) {
      ranges[b] = {std::min(ranges[b].lowest, code), std::max(ranges[b].highest, code)};
    }
  }
  out.end();
}

template <class Case>
void told_branches::tell(const growing_plan& plan, const split_test& test,
                         std::span<const Case> cases, std::string& to) {
  const growing_plan::attribute& tested = plan.attributes()[test.attribute];
  const std::size_t n = test.parts_in_two() ? 2 : tested.values->values()->size_of_known();
  const auto code = static_cast<std::uint32_t>(test.code);
  bounds ranges[] = {{code, code}, {code, code}};
  visit_codes(tested.codes, [&](const auto& codes) {
    const bool unknown = tested.may_be_unknown && meets_unknown_value(codes, cases);
    to.push_back(static_cast<char>(unknown));
    const std::size_t at = to.size();
    if (test.parts_in_two()) to.resize(at + sizeof ranges);
    code_writer out(to, n + unknown);
    test.with_rule([&](auto branch_of) { write(codes, branch_of, cases, unknown, out, ranges); });
    if (test.parts_in_two()) std::memcpy(to.data() + at, ranges, sizeof ranges);
  });
}

template void told_branches::tell(const growing_plan&, const split_test&,
                                  std::span<const counted_case>, std::string&);
template void told_branches::tell(const growing_plan&, const split_test&,
                                  std::span<const splitting::weighed_case>, std::string&);

told_branches::told_branches(std::string_view& told, const split_test& test, std::size_t n_branches,
                             std::size_t n_cases)
    : some_unknown_(told[0] != 0), n_branches_(n_branches) {
  told.remove_prefix(1);
  if (test.parts_in_two()) {
    ranges_.resize(n_branches);
    std::memcpy(ranges_.data(), told.data(), n_branches * sizeof(bounds));
    told.remove_prefix(n_branches * sizeof(bounds));
  }
  codes_ = told.data();
  told.remove_prefix(packed_bytes(n_cases, n_branches + some_unknown_));
}

}  // namespace orvik::impls::growing
