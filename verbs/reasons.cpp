#include "reasons.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "csv_cell.h"
#include "files.h"
#include "zel/text/decimal.h"

namespace orvverbs {

namespace {

constexpr char k_needs_file[] = "--reasons-top and --reasons-all need --reasons";
constexpr char k_into_a_file[] = "--reasons needs a file of its own, not standard output";
constexpr unsigned long k_most_named = 1'000'000;
constexpr std::size_t k_parts_at_once = 1U << 21;

/// That of what is explained.
const char* name_of_share(const orvik::dtree& model) {
  if (model.is_calibrated()) return "plain_share";
  const bool votes = model.votes() && model.get_combination() == orvik::combination::votes;
  return votes ? "mean_share" : "share";
}

}  // namespace

void reason_request::declare(options& all) {
  all.file("--reasons", file,
           "why: what each attribute contributes to the share (before calibration)");
  all.flag("--reasons-all", every_class, "in it: a line for every class, not only the predicted");
  all.number("--reasons-top", most, 1, k_most_named, "in it: the N largest of a line by name");
}

void reason_request::check() const {
  if (file.empty() && (every_class || most > 0)) throw usage_error(k_needs_file);
  if (is_standard(file)) throw usage_error(k_into_a_file);
}

reason_file::reason_file(const orvik::dtree& model, const reason_request& request,
                         const std::vector<std::string>& front)
    : request_(request),
      explainer_(model),
      classes_(model.class_values()),
      share_name_(name_of_share(model)) {
  const orvik::schema_view schema = model.get_schema();
  for (const unsigned long a : explainer_.attributes()) {
    attributes_.push_back(schema.attribute(a).name());
  }
  try {
    target_ = std::make_unique<zel::inpout::replacing_file>(request_.file);
  } catch (const std::runtime_error& failure) {
    throw cannot_write(request_.file, failure.what());
  }
  out_.open(target_->path(), std::ios::binary | std::ios::trunc);
  write_header(front);
}

void reason_file::write_header(const std::vector<std::string>& front) {
  std::vector<std::string> names = front;
  names.insert(names.end(), {"class", "base"});
  if (request_.most == 0) names.insert(names.end(), attributes_.begin(), attributes_.end());
  for (std::size_t i = 1; i <= std::min(request_.most, attributes_.size()); ++i) {
    names.push_back("attribute" + std::to_string(i));
    names.push_back("part" + std::to_string(i));
  }
  if (request_.most > 0) names.emplace_back("others");
  names.emplace_back(share_name_);
  for (std::size_t i = 0; i < names.size(); ++i) {
    append_csv(i > 0 ? lines_ += ',' : lines_, names[i]);
  }
  lines_ += '\n';
  give();
}

/// Some rows at a time: each has a number for every class and attribute.
void reason_file::write(const row_block& rows, const predicted_rows& found,
                        const front_cells& front) {
  const std::size_t a_row = classes_.size() * attributes_.size();
  const std::size_t width = rows.n == 0 ? 0 : rows.codes.size() / rows.n;
  const std::size_t at_once =
      std::max<std::size_t>(1, k_parts_at_once / std::max<std::size_t>(1, a_row));
  for (std::size_t first = 0; first < rows.n; first += at_once) {
    const std::size_t n = std::min<std::size_t>(at_once, rows.n - first);
    const auto from = rows.codes.begin() + static_cast<long>(first * width);
    explainer_.explain({from, from + static_cast<long>(n * width)}, n, parts_);
    for (std::size_t i = 0; i < n; ++i) {
      append_row(found, first + i, parts_.data() + i * a_row, front);
    }
    give();
  }
}

void reason_file::append_row(const predicted_rows& found, unsigned long row, const double* parts,
                             const front_cells& front) {
  std::string cells;
  front(cells, row);
  const auto append = [&](orvik::code_t c) {
    append_class(c, found.plain[row * classes_.size() + c], parts + c * attributes_.size(), cells);
  };
  if (!request_.every_class) return append(found.outcomes[row].class_code);
  for (orvik::code_t c = 1; c < classes_.size(); ++c) append(c);
}

void reason_file::append_class(orvik::code_t c, double share, const double* parts,
                               const std::string& front) {
  append_csv(lines_ += front, classes_[c]);
  append_number(explainer_.base()[c]);
  if (request_.most > 0) {
    append_largest(parts);
  } else {
    for (std::size_t a = 0; a < attributes_.size(); ++a) append_number(parts[a]);
  }
  append_number(share);
  lines_ += '\n';
}

/// The first of equals first.
void reason_file::append_largest(const double* parts) {
  std::vector<std::size_t> order(attributes_.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, std::ranges::less(), [&](std::size_t a) {
    return std::pair(std::isnan(parts[a]) ? 0.0 : -std::abs(parts[a]), a);
  });
  double others = 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i >= request_.most) {
      others += parts[order[i]];
      continue;
    }
    append_csv(lines_ += ',', attributes_[order[i]]);
    append_number(parts[order[i]]);
  }
  append_number(others);
}

void reason_file::append_number(double value) {
  (lines_ += ',') += zel::text::shortest_decimal(value);
}

void reason_file::give() {
  out_ << lines_;
  lines_.clear();
  if (!out_) throw cannot_write(request_.file, std::strerror(errno));
}

void reason_file::close() {
  out_.close();
  if (!out_) throw cannot_write(request_.file, std::strerror(errno));
  try {
    target_->commit();
  } catch (const std::runtime_error& failure) {
    throw cannot_write(request_.file, failure.what());
  }
}

}  // namespace orvverbs
