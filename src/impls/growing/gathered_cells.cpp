#include "impls/growing/gathered_cells.h"

#include <cassert>
#include <cstring>

#include "impls/growing/packed_codes.h"

namespace orvik::impls::growing {

namespace {

/// The narrowest codes that hold all below `end`; those of a boolean column are told as they lie.
unsigned int width_for(const cell_form& form, unsigned int of_column) {
  if (of_column == 1) return 1;
  return form.end <= 1U << 8 ? 8 : form.end <= 1U << 16 ? 16 : 32;
}

std::size_t words_for(std::size_t n, unsigned int bits) { return (n * bits + 63) / 64; }

}  // namespace

cell_form::cell_form(const growing_plan::attribute& of, const narrow_range& range)
    : first(range.first - of.may_be_unknown),
      end(range.second),
      may_be_unknown(of.may_be_unknown) {}

std::size_t bytes_of_cells(const growing_plan& plan, const growing_node& of, std::size_t n_cases,
                           std::span<const candidate> candidates) {
  std::size_t all = 0;
  for (const candidate& c : candidates) {
    const cell_form form(plan.attributes()[c.attribute], of.piece.ranges[c.attribute]);
    all += packed_bytes(n_cases, form.n_codes());
  }
  return all;
}

void pass_cells(const growing_plan& plan, const growing_node& of, std::size_t n_cases,
                std::span<const candidate> candidates, std::span<const char*> told) {
  for (const candidate& c : candidates) {
    const growing_plan::attribute& attribute = plan.attributes()[c.attribute];
    const cell_form form(attribute, of.piece.ranges[c.attribute]);
    told[attribute.owner] += packed_bytes(n_cases, form.n_codes());
  }
}

template <class Case>
void tell_cells(const growing_plan& plan, const growing_node& of, unsigned int attribute,
                std::span<const Case> cases, std::string& to) {
  const growing_plan::attribute& told = plan.attributes()[attribute];
  const cell_form form(told, of.piece.ranges[attribute]);
  assert(told.codes.data != nullptr);
  code_writer out(to, form.n_codes());
  visit_codes(told.codes, [&](const auto& codes) {
    for (const Case& c : cases) out.write(form.told(static_cast<std::uint32_t>(codes[c.row])));
  });
  out.end();
}

template void tell_cells(const growing_plan&, const growing_node&, unsigned int,
                         std::span<const counted_case>, std::string&);
template void tell_cells(const growing_plan&, const growing_node&, unsigned int,
                         std::span<const splitting::weighed_case>, std::string&);

gathered_cells::gathered_cells(const growing_plan& plan, const growing_node& of,
                               std::size_t n_cases, std::span<const candidate> candidates,
                               std::vector<const char*> told)
    : codes_(plan.attributes().size()) {
  memory_.reserve(candidates.size());
  for (const candidate& c : candidates) {
    const growing_plan::attribute& attribute = plan.attributes()[c.attribute];
    const cell_form form(attribute, of.piece.ranges[c.attribute]);
    code_view& codes = codes_[c.attribute];
    codes.bits = width_for(form, attribute.codes.bits);
    take(form, n_cases, told[attribute.owner], codes);
    told[attribute.owner] += packed_bytes(n_cases, form.n_codes());
  }
}

void gathered_cells::take(const cell_form& form, std::size_t n_cases, const char* told,
                          code_view& codes) {
  std::vector<std::uint64_t>& words = memory_.emplace_back(words_for(n_cases, codes.bits));
  codes.data = words.data();
  if (codes.bits == 1) {
    std::memcpy(words.data(), told, packed_bytes(n_cases, 2));
    return;
  }
  const told_codes all(told, form.n_codes(), 0);
  visit_codes(codes, [&](const auto& of_width) {
    using codes_of_width = std::remove_cvref_t<decltype(of_width)>;
    if constexpr (std::is_pointer_v<codes_of_width>) {
      using code = std::remove_const_t<std::remove_pointer_t<codes_of_width>>;
      auto* const to = reinterpret_cast<code*>(words.data());
      for (std::size_t i = 0; i < n_cases; ++i) to[i] = static_cast<code>(form.code(all[i]));
    }
  });
}

}  // namespace orvik::impls::growing
