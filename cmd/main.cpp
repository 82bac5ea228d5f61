// The program: one run from the command line to its outputs.

#include "errors.h"
#include "options.h"
#include "program.h"
#include "zel/inpout/replacing_file.h"

int main(int argc, char** argv) {
  zel::inpout::end_on_interrupts();
  orvcmd::guard_process();
  return orvcmd::exit_status_of([&] {
    orvcmd::options opt(argc, argv);
    orvcmd::run_program(opt);
  });
}
