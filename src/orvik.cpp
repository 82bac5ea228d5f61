#include "orvik/orvik.h"

#include "impls/identity.h"
#include "zel/util/parallel.h"
#include "zel/util/seed.h"

namespace orvik {

const char* get_version() { return impls::k_version; }

int get_build() { return 20200; }

const char* get_copyright() { return impls::k_copyright; }

unsigned long get_n_workers() { return zel::util::parallel::n_workers; }

void set_n_workers(unsigned long n) {
  zel::util::parallel::n_workers = n == 0 ? zel::util::parallel::default_workers() : n;
}

void set_seed(unsigned long seed) { zel::util::set_seed(seed); }

}  // namespace orvik
