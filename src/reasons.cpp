#include "orvik/reasons.h"

#include <stdexcept>

#include "impls/model/explainer.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/stream.h"
#include "zel/util/run_context.h"

namespace orvik {

namespace {

constexpr char k_no_codes[] = "the codes are not those of the model's attributes";

/// Codes in the width of trees to walk. Numbers have their places; of other values those that the
/// model does not know are refused.
std::vector<std::uint32_t> narrow_codes(const impls::table& schema,
                                        const std::vector<code_t>& codes, unsigned long n) {
  const unsigned long width = schema.n_attributes();
  if (codes.size() != n * width) throw std::runtime_error(k_no_codes);
  std::vector<std::uint32_t> narrow(codes.size());
  for (unsigned long a = 0; a < width; ++a) {
    const impls::column& c = schema.column_of(a);
    const bool is_category = c.type() == impls::column::DISCRETE;
    if (c.type() == impls::column::IGNORE) continue;
    for (unsigned long i = a; i < codes.size(); i += width) {
      const code_t most = is_category ? c.values()->size_of_known() : UINT32_MAX;
      if (codes[i] > most && is_category) throw std::runtime_error(k_no_codes);
      narrow[i] = static_cast<std::uint32_t>(std::min<code_t>(codes[i], most));
    }
  }
  return narrow;
}

}  // namespace

explainer::explainer(const dtree& model)
    : model_(model), impl_(std::make_unique<impls::explainer>(*model.get_impl())) {}
explainer::~explainer() = default;

const std::vector<unsigned long>& explainer::attributes() const { return impl_->attributes(); }
const std::vector<double>& explainer::base() const { return impl_->base(); }

void explainer::explain(const std::vector<code_t>& codes, unsigned long n,
                        std::vector<double>& parts) const {
  const impls::table& schema = *model_.get_impl()->get_training_table();
  const std::vector<std::uint32_t> narrow = narrow_codes(schema, codes, n);
  parts.resize(n * impl_->n_parts());
  impl_->explain({narrow, schema.n_attributes()}, parts);
}

void explainer::write(const std::string& file, char sep, std::ostream& out, unsigned long& rows,
                      char c, const reason_form& form, dtree::unseen_values* unseen) const {
  // Small blocks: a row may take long.
  constexpr unsigned long k_small_block = 1UL << 12;
  const unsigned long workers = model_.get_impl()->run().n_workers;
  zel::inpout::stream in(zel::inpout::ioconn::get_default_input(file, workers), sep, /*owns=*/true,
                         {k_small_block});
  impl_->write(in, out, rows, c, form, unseen);
}

}  // namespace orvik
