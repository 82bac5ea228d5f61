// Binary models: any bytes are a model that predicts and shows in every form or are refused with a
// message, and what was read is written and read again without a difference.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "impls/model/dtree.h"
#include "impls/support/binary_text.h"
#include "require.h"
#include "shown.h"

using namespace orvik::impls;
using orvik::fuzz::error_of;
using orvik::fuzz::require;
using orvik::fuzz::show;

namespace {

std::unique_ptr<dtree> read(std::string_view bytes) {
  auto model = std::make_unique<dtree>("");
  read_all(bytes, [&model](auto& in) { in >> *model; });
  return model;
}

std::string write(const dtree& model) {
  return binary_of([&model](auto& out) { out << model; });
}

/// Cases of the lowest and of the highest codes, and one of unknown values.
void predict(const dtree& model, const table& t) {
  std::vector<code_t> lowest, highest, unknown(t.n_attributes(), k_unknown);
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    const code_t known = t.column_of(a).values()->size_of_known();
    lowest.push_back(known > 0 ? 1 : k_unknown);
    highest.push_back(known);
  }
  std::vector<double> shares;
  decision_tree::prediction result;
  for (const auto& codes : {lowest, highest, unknown}) {
    model.predict(t, codes, result, 1.0);
    require(result.first < t.n_class_codes(), "a class of the table");
    model.predict_distribution(codes, shares);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<dtree> model;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (!error_of([&] { model = read(bytes); }).empty()) return 0;
  std::ostringstream text;
  model->toTEXT(text, 0);
  if (const conf_matrix* matrix = model->get_training_cm()) matrix->toTEXT(text, 0);
  if (model->n_trees() > 0) {
    predict(*model, *model->get_training_table());
    show(*model);
  }
  const std::string written = write(*model);
  require(write(*read(written)) == written, "the same when read again");
  require(write(*model->clone(/*parameters_only=*/false)) == written, "a copy is the same");
  return 0;
}
