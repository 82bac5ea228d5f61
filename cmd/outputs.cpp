#include "outputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <locale>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "inputs.h"
#include "zel/util/number_util.h"

namespace orvcmd {

namespace {

namespace fs = std::filesystem;

constexpr char k_cannot_open[] = "Cannot open/create ";
constexpr char k_same_file[] = ": it is the same file as the ";
constexpr char k_cannot_write[] = "Cannot write to ";
constexpr char k_standard_output[] = "standard output";
constexpr int k_max_links = 40;  // as the kernel follows

/// Where a file's content lives, equal for all names of one file: an existing regular file, or
/// the entry of its folder that a new file would take.
struct place {
  dev_t device;
  ino_t inode;  // of the file, or of the folder of a new file
  std::string new_name;
  friend bool operator==(const place&, const place&) = default;
};

/// `name` with the symbolic links of its last component followed, to the end or to a missing file.
fs::path follow_links(const std::string& name) {
  fs::path path(name);
  std::error_code error;
  for (int links = 0; links < k_max_links; ++links) {
    if (!fs::is_symlink(fs::symlink_status(path, error))) break;
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;
  }
  return path;
}

std::string folder_of(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path().string() : ".";
}

/// @return nothing for a device, a pipe or a folder (these may be shared) and for a name that
/// leads nowhere.
std::optional<place> place_of(const std::string& name) {
  struct stat status;
  if (stat(name.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) return std::nullopt;
    return place{status.st_dev, status.st_ino, ""};
  }
  const fs::path path = follow_links(name);
  if (stat(folder_of(path).c_str(), &status) != 0) return std::nullopt;
  return place{status.st_dev, status.st_ino, path.filename().string()};
}

std::optional<place> place_of_standard_output() {
  struct stat status;
  if (fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return place{status.st_dev, status.st_ino, ""};
}

/// Whether the caller may create files where `path` lies.
bool can_create(const fs::path& path) {
  struct stat status;
  const std::string folder = folder_of(path);
  return path.has_filename() && stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

/// Whether the caller may write the file `name`, or create it where there is none. One that is
/// `replaced` by another, made beside it, needs its folder too.
bool can_write(const std::string& name, bool replaced) {
  struct stat status;
  const bool exists = stat(name.c_str(), &status) == 0;
  if (!exists) return errno == ENOENT && can_create(follow_links(name));
  if (S_ISDIR(status.st_mode)) return false;
  if (faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) != 0) return false;
  return !replaced || !S_ISREG(status.st_mode) || can_create(follow_links(name));
}

/// A file of a run: what it is for, its name (empty when there is none) and its place.
struct run_file {
  std::string_view role;
  std::string_view name;
  std::optional<place> where;
  bool replaced = false;  // by a file written beside it
};

void add_file(std::vector<run_file>& files, std::string_view role, const std::string& name,
              bool replaced = false) {
  if (!name.empty()) files.push_back({role, name, place_of(name), replaced});
}

/// Everything an output must differ from, whatever the outputs are.
std::vector<run_file> fixed_files(const options& opt) {
  std::vector<run_file> files;
  add_file(files, "metadata file ", opt.metadata_file);
  add_file(files, "training data file ", opt.data_file);
  add_file(files, "test data file ", opt.test_file);
  add_file(files, "calibration data file ", opt.calibration_rows);
  add_file(files, "score data file ", opt.score_data_file);
  add_file(files, "binary data file ", opt.binary_data_input);
  add_file(files, "binary tree file ", opt.tree_binary_input);
  const bool to_stdout =
      (opt.log_stdout && opt.log_file.empty()) || (opt.text_stdout && opt.text_file.empty()) ||
      (opt.xml_stdout && opt.xml_file.empty()) || (opt.dot_stdout && opt.dot_file.empty());
  if (to_stdout) files.push_back({k_standard_output, "", place_of_standard_output(), false});
  return files;
}

std::vector<run_file> output_files(const options& opt) {
  std::vector<run_file> files;
  add_file(files, "log file ", opt.log_file);
  add_file(files, "text output file ", opt.text_file, /*replaced=*/true);
  add_file(files, "trace file ", opt.trace_file, /*replaced=*/true);
  add_file(files, "tree XML output file ", opt.xml_file, /*replaced=*/true);
  add_file(files, "tree DOT output file ", opt.dot_file, /*replaced=*/true);
  for (const document& each : k_documents)
    add_file(files, each.role, opt.*each.file, /*replaced=*/true);
  add_file(files, "JSON output file of figures ", opt.metrics_file, /*replaced=*/true);
  add_file(files, "binary data output file ", opt.binary_data_output, /*replaced=*/true);
  add_file(files, "mapped data output file ", opt.mapped_data_output, /*replaced=*/true);
  add_file(files, "binary tree output file ", opt.tree_binary_output, /*replaced=*/true);
  add_file(files, "score output file ", opt.score_output_file, /*replaced=*/true);
  add_file(files, "output file of reasons ", opt.reasons_file, /*replaced=*/true);
  add_file(files, "file of finished tasks ", opt.resume_file);
  return files;
}

[[noreturn]] void refuse_shared(const run_file& file, const run_file& other) {
  std::string message = k_cannot_open;
  message.append(file.name).append(k_same_file).append(other.role).append(other.name);
  throw std::runtime_error(message);
}

}  // namespace

void check_files(const options& opt) {
  std::vector<run_file> taken = fixed_files(opt);
  for (const run_file& file : output_files(opt)) {
    for (const run_file& other : taken) {
      if (file.where && file.where == other.where) refuse_shared(file, other);
    }
    const std::string name(file.name);
    if (!can_write(name, file.replaced)) throw std::runtime_error(k_cannot_open + name);
    taken.push_back(file);
  }
}

namespace {

/// Comes before the first file is opened, so that a refusal leaves every file as it was.
const options& checked(const options& opt) {
  check_files(opt);
  check_inputs(opt);
  return opt;
}

template <std::size_t... I>
std::array<output, sizeof...(I)> documents_of(const options& opt, std::index_sequence<I...>) {
  return {output(/*on_stdout=*/false, opt.*k_documents[I].file, std::ios::trunc)...};
}

/// Numbers as every stream prints them, but for the sign of a not-a-number, which says nothing.
class plain_numbers : public std::num_put<char> {
 public:
  /// Deliberate: never destroyed, as standard output has it until the very end.
  static std::locale locale() {
    static auto* const one = new plain_numbers;
    return {std::locale::classic(), one};
  }

 private:
  plain_numbers() : num_put(/*refs=*/1) {}  // no locale owns it
  iter_type do_put(iter_type out, std::ios_base& format, char fill, double x) const override {
    return num_put::do_put(out, format, fill, zel::util::number_util::plain_nan(x));
  }
  iter_type do_put(iter_type out, std::ios_base& format, char fill, long double x) const override {
    return num_put::do_put(out, format, fill, zel::util::number_util::plain_nan(x));
  }
  using std::num_put<char>::do_put;
};

}  // namespace

output::output(bool on_stdout, const std::string& file, std::ios_base::openmode mode) {
  if (!file.empty()) {
    name_ = file;
    try {
      if (mode != std::ios::app) target_ = std::make_unique<zel::inpout::replacing_file>(file);
    } catch (const std::runtime_error&) {
      throw std::runtime_error(k_cannot_open + name_);
    }
    file_.open(target_ ? target_->path() : file, mode);
    if (!file_ && errno == ENOMEM) throw std::bad_alloc();
    if (!file_) throw std::runtime_error(k_cannot_open + name_);
    stream_ = &file_;
  } else if (on_stdout) {
    name_ = k_standard_output;
    stream_ = &std::cout;
  }
  if (stream_ != nullptr) {
    stream_->imbue(plain_numbers::locale());
  }
}

/// Of a file that is replaced; one that is written through, such as a pipe, has what it has.
void output::give_up() {
  file_.close();
  target_.reset();
}

void output::close() {
  if (stream_ == nullptr) return;
  stream_->flush();
  if (file_.is_open()) file_.close();
  if (!stream_->good()) throw std::runtime_error(k_cannot_write + name_);
  if (!target_) return;
  try {
    target_->commit(/*durable=*/false);
  } catch (const std::runtime_error&) {
    throw std::runtime_error(k_cannot_write + name_);
  }
  target_.reset();
}

void output::close_after_error() noexcept {
  try {
    if (target_ && file_.is_open() && file_.tellp() == std::streampos(0)) return give_up();
    close();
  } catch (...) {  // the error that there is matters more
  }
}

outputs::outputs(const options& opt)
    : log_(checked(opt).log_stdout, opt.log_file, std::ios::app),
      text_(opt.text_stdout, opt.text_file, std::ios::trunc),
      trace_(false, opt.trace_file, std::ios::trunc),
      xml_(opt.xml_stdout, opt.xml_file, std::ios::trunc),
      dot_(opt.dot_stdout, opt.dot_file, std::ios::trunc),
      metrics_(false, opt.metrics_file, std::ios::trunc),
      documents_(documents_of(opt, std::make_index_sequence<k_documents.size()>())) {}

outputs::~outputs() { end_log(); }

void outputs::close_after_error() noexcept {
  for (output* each : {&text_, &trace_, &xml_, &dot_}) each->close_after_error();
  for (output& each : documents_) each.close_after_error();
}

void outputs::write_documents(const orvik::dtree& model, independent_steps& steps) {
  for (std::size_t i = 0; i < documents_.size(); ++i) {
    steps.run([&] {
      documents_[i].write([&](std::ostream& out) { (model.*k_documents[i].write)(out); });
    });
  }
}

void outputs::begin_log(std::string_view banner) {
  if (log() == nullptr) return;
  *log() << banner;
  in_log_ = true;
}

void outputs::end_log() {
  if (in_log_) *log() << '\n';
  in_log_ = false;
}

void outputs::close() {
  for (output* each : {&log_, &text_, &trace_, &xml_, &dot_, &metrics_}) each->close();
  for (output& each : documents_) each.close();
}

}  // namespace orvcmd
