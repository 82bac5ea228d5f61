#include "orvik/orvik.h"

#include <filesystem>

#include "impls/identity.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/stream.h"
#include "zel/util/parallel.h"
#include "zel/util/seed.h"

namespace orvik {

const char* get_version() { return impls::k_version; }

int get_build() { return impls::k_build; }

const char* get_product() { return impls::k_product; }

const char* get_copyright() { return impls::k_copyright; }

unsigned long get_n_workers() { return zel::util::parallel::n_workers; }

void set_n_workers(unsigned long n) {
  zel::util::parallel::n_workers = n == 0 ? zel::util::parallel::default_workers() : n;
}

void check_text_file(const std::string& file) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (fs::exists(status) && fs::is_other(status)) return;
  using zel::inpout::ioconn;
  if (!fs::is_directory(status)) return ioconn::check_default_input(file);
  zel::inpout::stream in(ioconn::get_default_input(file), ',', /*owns=*/true);
  in.next_block();  // a folder opens, but its first read fails
}

void set_seed(unsigned long seed) { zel::util::set_seed(seed); }

}  // namespace orvik
