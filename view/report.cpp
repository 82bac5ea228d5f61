#include "report.h"

#include "orvik/orvik.h"
#include "report_bundle.h"
#include "report_data.h"
#include "zel/util/string_util.h"

namespace orvik::view {

namespace {

/// A text that a comment can hold.
std::string in_comment(std::string_view text) {
  std::string safe;
  for (const char c : text) safe += c == '-' ? '=' : c;
  return safe;
}

}  // namespace

// The policy lets run the one script of the page and nothing else, and lets nothing be fetched or
// sent: names and values of a table cannot do what the page itself could not.
void write_html_report(const orvik::dtree& model, const std::string& title, orvik::table* rows,
                       std::ostream& out, const training_facts& facts) {
  const std::string data = report_data(model, title, rows, facts);
  const std::string name = zel::util::string_util::toXML(as_utf8(title));
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src '"
      << k_report_script_hash << "'; style-src 'unsafe-inline'; base-uri 'none'; "
      << "form-action 'none'\">\n"
      << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      << "<meta name=\"generator\" content=\"" << orvik::get_product() << "\">\n<title>" << name
      << "</title>\n<style>" << k_report_style << "</style>\n</head>\n<body>\n<p id=\"no-script\">"
      << name << ": this report needs a browser that runs scripts.</p>\n"
      << "<script type=\"application/json\" id=\"orvik-model\">" << data << "</script>\n<script>"
      << k_report_script << "</script>\n<!--\n"
      << in_comment(k_report_licences) << "-->\n</body>\n</html>\n";
}

}  // namespace orvik::view
