// The script and the style of the report: view/report/bundle.*, which the build puts into the
// program.
#pragma once

#include <string_view>

namespace orvik::view {

extern const std::string_view k_report_script;
extern const std::string_view k_report_style;
/// The script's hash, as a content security policy names it.
extern const std::string_view k_report_script_hash;
/// Of the packages that the script holds parts of.
extern const std::string_view k_report_licences;

}  // namespace orvik::view
