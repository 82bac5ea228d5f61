#include "orvik/orvik.h"

#include "zel/util/parallel.h"
#include "zel/util/seed.h"

namespace orvik {

const char* get_version() { return "2.2.0"; }

int get_build() { return 20200; }

const char* get_copyright() {
  return "Orvik version 2.2.0 - The Orvik authors, all rights reserved";
}

unsigned long get_n_workers() { return zel::util::parallel::n_workers; }

void set_n_workers(unsigned long n) {
  zel::util::parallel::n_workers = n == 0 ? zel::util::parallel::default_workers() : n;
}

void set_seed(unsigned long seed) { zel::util::set_seed(seed); }

}  // namespace orvik
