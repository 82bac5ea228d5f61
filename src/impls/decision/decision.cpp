#include "impls/decision/decision.h"

#include <algorithm>

#include "zel/util/number_util.h"

namespace orvik::impls {

namespace {

constexpr char k_later_decision[] = "it decides in a way of a later version";
constexpr char k_bad_prior[] = "prior shares that are none";

enum decision_part : unsigned int {
  k_costs_part = 1,
  k_smoothing_part = 2,
  k_weighing_part = 4,  // the costs do not decide
  k_calibration_part = 8,
  k_all_parts = 15
};

std::vector<double> read_prior(zel::inpout::ibinstream& in) {
  unsigned long n = 0;
  in >> n;
  std::vector<double> prior = in.read_array<double>(n);
  const auto is_share = [](double share) { return share >= 0 && share <= 1; };
  zel::inpout::require(std::ranges::all_of(prior, is_share), k_bad_prior);
  return prior;
}

}  // namespace

void decision::set_prior(std::vector<double> shares) {
  prior_ =
      shares.empty() ? nullptr : std::make_shared<const std::vector<double>>(std::move(shares));
}

const calibrator decision::k_no_maps;
const own_shares decision::k_none_seen;

void decision::set_calibration(calibrator maps, own_shares seen) {
  const bool nothing = maps.how() == calibration::none;
  learned_ = nothing
                 ? nullptr
                 : std::make_shared<const calibrated>(calibrated{std::move(maps), std::move(seen)});
}

decision decision::as_asked() const {
  decision asked = *this;
  asked.prior_.reset();
  asked.learned_.reset();
  return asked;
}

code_t decision::decide(std::span<const double> shares) const {
  const cost_matrix* const by = costs();
  return by != nullptr ? by->cheapest(shares) : zel::util::number_util::argmax(shares);
}

code_t decision::decide_leaf(std::span<const double> by_code) const {
  if (prior().empty()) return decide(by_code);
  std::vector<double> leaning(by_code.begin(), by_code.end());
  for (code_t c = 0; c < leaning.size(); ++c) leaning[c] += prior()[c];
  return decide(leaning);
}

bool decision::fits(unsigned long n_class_codes) const {
  return (!costs_ || costs_->size() == n_class_codes) &&
         (!prior_ || prior_->size() == n_class_codes) && maps().fits(n_class_codes) &&
         seen().fits(n_class_codes);
}

void decision::bin_out(zel::inpout::obinstream& out) const {
  const bool weighs = costs_ && use_ == cost_use::weighs;
  out << ((costs_ ? k_costs_part : 0U) | (smooths_ ? k_smoothing_part : 0U) |
          (weighs ? k_weighing_part : 0U) | (learned_ ? k_calibration_part : 0U));
  if (costs_) costs_->bin_out(out);
  if (smooths_) {
    out << static_cast<unsigned long>(prior().size());
    out.write_array(prior());
  }
  if (!learned_) return;
  learned_->maps.bin_out(out);
  learned_->seen.bin_out(out);
}

decision decision::bin_in(zel::inpout::ibinstream& in) {
  unsigned int parts = 0;
  in >> parts;
  zel::inpout::require((parts & ~k_all_parts) == 0, k_later_decision);
  decision read;
  if ((parts & k_costs_part) != 0) {
    const bool weighs = (parts & k_weighing_part) != 0;
    read.set_costs(std::make_shared<const cost_matrix>(cost_matrix::bin_in(in)),
                   weighs ? cost_use::weighs : cost_use::decides);
  }
  read.smooths_ = (parts & k_smoothing_part) != 0;
  if (read.smooths_) read.set_prior(read_prior(in));
  if ((parts & k_calibration_part) != 0) {
    calibrator maps = calibrator::bin_in(in);
    read.set_calibration(std::move(maps), own_shares::bin_in(in));
  }
  return read;
}

}  // namespace orvik::impls
