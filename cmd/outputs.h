/// The output streams of one run: log, text, trace, XML, DOT, PMML 4.4, JSON and figures, each on
/// standard output, in a file or absent. Files are checked as a whole before the first is opened,
/// so that a refused command line leaves every file as it was.
#pragma once

#include <array>
#include <fstream>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "options.h"
#include "orvik/dtree.h"
#include "steps.h"
#include "zel/inpout/replacing_file.h"

namespace orvcmd {

/// Throws std::runtime_error, naming the file, if an output of `opt` cannot be created or written,
/// or is the same file as an input, as another output or as a standard output in use. Files are
/// compared by what they lead to, so links and ./ do not hide them; devices and pipes may be
/// shared. Neither creates nor changes any file.
void check_files(const options& opt);

/// Runs save(), which writes the binary file `file`. Throws std::runtime_error, naming the file,
/// if that fails.
template <class Save>
void save_or_report(const std::string& file, const Save& save) {
  try {
    save();
  } catch (const std::runtime_error&) {
    throw std::runtime_error("File " + file + ": error with binary output");
  }
}

/// One output: at most one of standard output and an own file.
class output {
 public:
  /// Standard output if `on_stdout`, unless there is a `file`, which is opened with `mode`.
  /// Throws std::runtime_error if that fails.
  output(bool on_stdout, const std::string& file, std::ios_base::openmode mode);

  /// @return the stream to write to, null when absent; lives as long as this object.
  std::ostream* stream() { return stream_; }

  /// Runs write(stream) unless the output is absent. Where it throws, an own file stays as it was:
  /// half a document is none.
  template <class Write>
  void write(const Write& write) {
    if (stream_ == nullptr) return;
    try {
      write(*stream_);
    } catch (...) {
      give_up();
      throw;
    }
  }

  /// Closes an own file and puts it in the place of an older one, flushes standard output; throws
  /// std::runtime_error, naming the output, if anything written so far was lost.
  void close();
  /// The same after an error, without a word; an own file to which nothing was written stays as it
  /// was.
  void close_after_error() noexcept;

 private:
  void give_up();

  std::string name_;
  std::unique_ptr<zel::inpout::replacing_file> target_;  // of an own file that is not appended to
  std::ofstream file_;
  std::ostream* stream_ = nullptr;  // null, &file_ or standard output
};

/// A form of the model that goes to a file of its own.
struct document {
  std::string options::*file;
  std::string_view role;  ///< in messages
  void (orvik::dtree::*write)(std::ostream&) const;
};
inline constexpr std::array<document, 2> k_documents = {
    {{&options::pmml_file, "PMML output file ", &orvik::dtree::toPMML},
     {&options::json_file, "JSON output file ", &orvik::dtree::toJSON}}};

/// All outputs of a run. Log lines begin with their newline; so the log is ended by a newline of
/// its own, also when an error ends the run.
class outputs {
 public:
  /// Checks the files of `opt`, then opens those to write. Throws as check_files(),
  /// check_inputs() and output do.
  explicit outputs(const options& opt);
  outputs(const outputs&) = delete;
  outputs& operator=(const outputs&) = delete;
  ~outputs();

  std::ostream* log() { return log_.stream(); }
  std::ostream* text() { return text_.stream(); }
  std::ostream* trace() { return trace_.stream(); }
  std::ostream* xml() { return xml_.stream(); }
  std::ostream* dot() { return dot_.stream(); }
  output& metrics() { return metrics_; }
  /// Writes each document of the model that is asked for, as a step of its own.
  void write_documents(const orvik::dtree& model, independent_steps& steps);

  /// Starts the log, if any, with `banner`.
  void begin_log(std::string_view banner);

  /// Ends the line of a log that has begun; a second call does nothing.
  void end_log();

  /// Closes every stream; throws std::runtime_error for the first whose content was not written.
  void close();
  /// Closes them after an error: what was written until then is kept.
  void close_after_error() noexcept;

 private:
  output log_, text_, trace_, xml_, dot_, metrics_;
  std::array<output, k_documents.size()> documents_;
  bool in_log_ = false;  // the log is in the middle of a line
};

}  // namespace orvcmd
