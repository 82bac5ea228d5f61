// Why rows are predicted as they are: a table beside the scores.
#pragma once

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "command_line.h"
#include "new_rows.h"
#include "orvik/reasons.h"
#include "predictions.h"
#include "zel/inpout/replacing_file.h"

namespace orvverbs {

/// What is asked for.
struct reason_request {
  std::string file;  ///< empty: no reasons
  bool every_class = false;
  unsigned long most = 0;  ///< attributes by name; 0: a column each

  void declare(options& all);
  /// Throws usage_error where one of them is without meaning.
  void check() const;
};

/// A CSV file with the cells that stand in front of the scores of a row, class, base, contributions
/// and share; it appears under its name when it is whole. Throws std::runtime_error, naming it.
class reason_file {
 public:
  /// Appends the cells in front, each with a comma behind it, for a row of the block.
  using front_cells = std::function<void(std::string&, unsigned long row)>;

  /// `front` are the names of these cells. `model` must outlive this.
  reason_file(const orvik::dtree& model, const reason_request& request,
              const std::vector<std::string>& front);
  /// `found` has the shares.
  void write(const row_block& rows, const predicted_rows& found, const front_cells& front);
  void close();

 private:
  void write_header(const std::vector<std::string>& front);
  void append_row(const predicted_rows& found, unsigned long row, const double* parts,
                  const front_cells& front);
  void append_class(orvik::code_t c, double share, const double* parts, const std::string& front);
  void append_largest(const double* parts);
  void append_number(double value);
  void give();

  reason_request request_;
  orvik::explainer explainer_;
  std::vector<std::string> classes_;     // by code
  std::vector<std::string> attributes_;  // those that have a part
  const char* share_name_;
  std::unique_ptr<zel::inpout::replacing_file> target_;
  std::ofstream out_;
  std::string lines_;
  std::vector<double> parts_;
};

}  // namespace orvverbs
