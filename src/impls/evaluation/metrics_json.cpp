// Figures of predictions for programs: docs/formats.md has the layout.
#include <cmath>

#include "impls/identity.h"
#include "orvik/metrics.h"
#include "zel/text/json.h"
#include "zel/util/string_util.h"

namespace orvik {

namespace {

constexpr char k_format[] = "orvik-metrics";
constexpr unsigned k_format_version = 1;

class metrics_writer {
 public:
  explicit metrics_writer(std::ostream& out) : sink_(out), json_(sink_) {}

  void write(const std::vector<metrics>& all);

 private:
  void text(std::string_view name, const std::string& raw) {
    using namespace zel::util::string_util;
    json_.key(name);
    json_.text(is_utf8(raw) ? raw : utf8_of_latin1(raw));
  }
  void number(std::string_view name, double x) {
    json_.key(name);
    json_.number(x);
  }
  void count(std::string_view name, unsigned long n) {
    json_.key(name);
    json_.Uint64(n);
  }
  void numbers(std::initializer_list<double> all) {
    json_.StartArray();
    for (const double x : all) json_.number(x);
    json_.EndArray();
  }
  void write_curve(std::string_view name, const std::vector<curve_point>& points) {
    json_.array(name, points, [this](const curve_point& p) { numbers({p.x, p.y, p.threshold}); });
  }
  void write_reliability(std::string_view name, const std::vector<reliability_bin>& bins) {
    json_.array(name, bins, [this](const reliability_bin& b) {
      numbers({b.weight, b.share, b.frequency});
    });
  }
  template <class Figures>
  void write_figures(const Figures& of) {
    number("precision", of.precision);
    number("recall", of.recall);
    number("f1", of.f1);
    number("roc_area", of.roc_area);
    number("average_precision", of.average_precision);
  }
  void write_mean(std::string_view name, const mean_metrics& of) {
    json_.key(name);
    json_.object([&] { write_figures(of); });
  }
  void write_class(const class_metrics& of);
  void write_overall(const metrics& of);
  void write_rows(const metrics& of);

  zel::text::json_sink sink_;
  zel::text::json_writer<zel::text::json_sink> json_;
};

void metrics_writer::write_class(const class_metrics& of) {
  sink_.Put('\n');
  json_.object([&] {
    text("class", of.name);
    count("code", of.code);
    number("support", of.support);
    write_figures(of);
    write_curve("roc", of.roc);
    write_curve("precision_recall", of.precision_recall);
    write_reliability("reliability", of.reliability);
    if (!of.plain_reliability.empty()) write_reliability("plain_reliability", of.plain_reliability);
  });
}

void metrics_writer::write_overall(const metrics& of) {
  text("rows", of.rows);
  count("n_rows", of.n_rows);
  count("n_unknown", of.n_unknown);
  number("weight", of.weight);
  number("accuracy", of.accuracy);
  json_.key("accuracy_95");
  numbers({of.accuracy_from, of.accuracy_to});
  number("balanced_accuracy", of.balanced_accuracy);
  number("kappa", of.kappa);
  number("log_loss", of.log_loss);
  number("brier", of.brier);
  if (std::isnan(of.plain_log_loss)) return;
  number("plain_log_loss", of.plain_log_loss);
  number("plain_brier", of.plain_brier);
}

void metrics_writer::write_rows(const metrics& of) {
  sink_.Put('\n');
  json_.object([&] {
    write_overall(of);
    write_mean("mean", of.mean);
    write_mean("weighted_mean", of.weighted_mean);
    json_.array("classes", of.classes, [this](const class_metrics& c) { write_class(c); });
    json_.array("matrix", of.matrix, [this](const std::vector<double>& row) {
      json_.StartArray();
      for (const double weight : row) json_.number(weight);
      json_.EndArray();
    });
  });
}

void metrics_writer::write(const std::vector<metrics>& all) {
  json_.object([&] {
    text("format", k_format);
    json_.key("version");
    json_.Uint(k_format_version);
    text("library", impls::k_product);
    json_.array("tests", all, [this](const metrics& each) { write_rows(each); });
  });
  sink_.Put('\n');
}

}  // namespace

void write_metrics_json(const std::vector<metrics>& all, std::ostream& out) {
  metrics_writer(out).write(all);
}

}  // namespace orvik
