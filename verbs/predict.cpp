// orvik predict: the rows of a new file with their classes.
#include <algorithm>
#include <iostream>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "applied_model.h"
#include "csv_cell.h"
#include "figures.h"
#include "files.h"
#include "predictions.h"
#include "reasons.h"
#include "sets.h"
#include "verbs.h"
#include "zel/text/decimal.h"

namespace orvverbs {

namespace {

constexpr char k_predict_examples[] =
    "Examples:\n"
    "  orvik predict people.orvik new.csv -o scores.csv\n"
    "  orvik predict people.orvik new.csv --probabilities --keep -o scores.csv\n"
    "  cat new.csv | orvik predict people.orvik - --jsonl > scores.jsonl\n\n"
    "Scores have the rows of FILE, in its order. See orvik-predict(1).";

/// What stands in front of the scores of a row, and the names of all that a row has.
struct score_form {
  std::vector<unsigned long> kept;  // columns of the file
  bool numbered = false;            // nothing is kept: rows are counted
  std::size_t n_kept() const { return numbered ? 1 : kept.size(); }
  bool probabilities = false;
  std::vector<double> set_limits;        // by class code; empty: no sets
  std::vector<std::string> names;        // of the columns that are written
  std::vector<std::string> class_names;  // by code
};

class score_writer {
 public:
  score_writer(const score_form& form, bool jsonl, std::ostream& out)
      : form_(form), jsonl_(jsonl), out_(out) {}

  void write_header() {
    if (jsonl_) return;
    for (std::size_t i = 0; i < form_.names.size(); ++i) {
      if (i > 0) lines_ += ',';
      append_csv(lines_, form_.names[i]);
    }
    lines_ += '\n';
    give();
  }

  void write(const row_block& rows, const predicted_rows& found) {
    for (unsigned long i = 0; i < rows.n; ++i) {
      jsonl_ ? write_json(rows, found, i) : append_row(rows, found, i);
    }
    give();
  }

  void append_front(std::string& to, const row_block& rows, unsigned long row) const {
    for (std::size_t i = 0; i < form_.n_kept(); ++i) {
      append_csv(to, kept(rows, row, i));
      to += ',';
    }
  }

 private:
  std::string kept(const row_block& rows, unsigned long row, std::size_t i) const {
    return form_.numbered ? std::to_string(rows.first + row + 1)
                          : rows.kept[row * form_.kept.size() + i];
  }

  void append_row(const row_block& rows, const predicted_rows& found, unsigned long row) {
    append_front(lines_, rows, row);
    const auto& [code, confidence] = found.outcomes[row];
    append_csv(lines_, form_.class_names[code]);
    lines_ += ',';
    lines_ += zel::text::shortest_decimal(confidence);
    const std::size_t n = form_.class_names.size();
    for (std::size_t c = 1; c < n && form_.probabilities; ++c) {
      lines_ += ',';
      lines_ += zel::text::shortest_decimal(found.shares[row * n + c]);
    }
    if (!form_.set_limits.empty()) {
      lines_ += ',';
      append_csv(lines_, orvik::set_text(form_.class_names, found.plain.data() + row * n,
                                         form_.set_limits));
    }
    lines_ += '\n';
  }

  void write_json(const row_block& rows, const predicted_rows& found, unsigned long row) {
    give();
    zel::text::json_sink sink(out_);
    json_out json(sink);
    std::size_t name = 0;
    const auto key = [&] { json.key(utf8(form_.names[name++])); };
    json.object([&] {
      for (std::size_t i = 0; i < form_.n_kept(); ++i) {
        key();
        form_.numbered ? json.digits(kept(rows, row, i)) : json.text(utf8(kept(rows, row, i)));
      }
      key();
      json.text(utf8(form_.class_names[found.outcomes[row].class_code]));
      key();
      json.number(found.outcomes[row].confidence);
      const std::size_t n = form_.class_names.size();
      for (std::size_t c = 1; c < n && form_.probabilities; ++c) {
        key();
        json.number(found.shares[row * n + c]);
      }
      if (form_.set_limits.empty()) return;
      key();
      json.StartArray();
      for (std::size_t c = 1; c < n; ++c) {
        const bool in_set = found.plain[row * n + c] >= form_.set_limits[c];
        if (in_set) json.text(utf8(form_.class_names[c]));
      }
      json.EndArray();
    });
    out_ << '\n';
  }

  void give() {
    out_ << lines_;
    lines_.clear();
    if (!out_) throw std::runtime_error(std::strerror(errno));
  }

  const score_form& form_;
  bool jsonl_;
  std::ostream& out_;
  std::string lines_;
};

class predict_verb : public verb {
 public:
  const char* name() const override { return "predict"; }
  const char* summary() const override { return "the classes of new rows, by a model"; }

  void declare(options& all) override {
    applied_.declare_files(all);
    all.group("What is written");
    all.file("-o,--output", output_, "the scores; else standard output");
    all.flag("-p,--probabilities", probabilities_, "a column for the probability of every class");
    sets_.declare(all);
    all.flag("-k,--keep", keep_, "all columns of FILE in front, not only its keys");
    reasons_.declare(all);
    all.flag("--jsonl", jsonl_, "a JSON object a line instead of CSV");
    applied_.declare_layout(all);
    all.examples(k_predict_examples);
  }

  void run() override {
    reasons_.check();
    applied_.open(output_, reasons_.file);
    const orvik::dtree& model = applied_.model();
    sets_.open(model, applied_.model_file());
    new_rows& rows = applied_.rows();
    const score_form form = form_of(model, rows);
    std::optional<reason_file> reasons;
    if (!reasons_.file.empty()) {
      const auto front = form.names.begin();
      reasons.emplace(model, reasons_,
                      std::vector<std::string>(front, front + static_cast<long>(form.n_kept())));
    }
    write_file(output_, [&](std::ostream& out) {
      score_writer writer(form, jsonl_, out);
      writer.write_header();
      const orvik::cell_predictor ready(model);
      predicted_rows found;
      rows.read(form.kept, [&](row_block& block) {
        predict_block(ready, block, probabilities_ || sets_.wanted() || reasons, found);
        writer.write(block, found);
        if (!reasons) return;
        reasons->write(block, found, [&](std::string& to, unsigned long row) {
          writer.append_front(to, block, row);
        });
      });
    });
    if (reasons) reasons->close();
    if (!is_standard(output_)) std::cerr << "written: " << with_size(output_) << '\n';
  }

 private:
  score_form form_of(const orvik::dtree& model, const new_rows& rows) const {
    score_form form;
    form.probabilities = probabilities_;
    form.set_limits = sets_.limits();
    form.class_names = model.class_values();
    if (keep_) {
      form.kept.resize(rows.names().size());
      std::iota(form.kept.begin(), form.kept.end(), 0UL);
    } else {
      form.kept = rows.keys();
      form.numbered = form.kept.empty();
    }
    std::vector<std::string> names;
    for (const unsigned long i : form.kept) names.push_back(rows.names()[i]);
    if (form.numbered) names.emplace_back("row");
    names.emplace_back("predicted");
    names.emplace_back("confidence");
    for (std::size_t c = 1; c < form.class_names.size() && probabilities_; ++c) {
      names.push_back("p_" + form.class_names[c]);
    }
    if (sets_.wanted()) names.emplace_back("set");
    for (std::string& name : names) {
      while (std::ranges::find(form.names, name) != form.names.end()) name += '_';
      form.names.push_back(name);
    }
    return form;
  }

  applied_model applied_;
  asked_sets sets_;
  reason_request reasons_;
  std::string output_ = "-";
  bool probabilities_ = false, keep_ = false, jsonl_ = false;
};

}  // namespace

std::unique_ptr<verb> new_predict() { return std::make_unique<predict_verb>(); }

}  // namespace orvverbs
