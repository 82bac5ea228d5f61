// The usage text. Its layout is published: the descriptions of the first section stand one
// column to the left of the others.

#include <string>

#include "options.h"

namespace orvcmd {

namespace {

constexpr std::string_view k_before_workers = R"usage(Command line: orvcmd [options...]
 Input dataset options:
    -f <file>   metadata in <file>.names and training data in <file>.data
    -fm <file>  metadata in <file> (*)
    -fd <file>  training data in <file> (*)
    -ft <file>  test data in <file> (*)
    -fs <file>  score data in <file> (*)
    -bd <file>  training data in binary format in <file>
    -sep <c>    column separator in files (default ',')
 Tree building options:
    -bt <file>   no dataset, tree binary input from <file>
    -m <num>     minimum weight of cases to split -- must be > 0
    -depth <num> maximum tree depth -- must be >= 0
    -gain        information gain instead of gain ratio
    -grpure      pure information gain ratio
 Tree pruning options (**):
    -np          no pruning, only pre-pruning
    -npp         no pruning and no pre-pruning
    -ebp[g|a]    EBP[G|A] pruning
    -c <num>     EBP pruning confidence level -- must be in (0,1]
    -mep[g|a]    MEP[G|A] pruning
    -pep[g|a]    PEP[G|A] pruning
    -rep[g|a]    REP[G|A] pruning
 Feature selection options:
    -as <b>      acceptable subset with error <= b+optimal
    -sfs         sequential forward selection
    -sbe         sequential backward elimination
    -dtsbe       optimized sequential backward elimination
 Ensemble options:
    -ba <n>      bagging trees
    -fo <n>      forest trees
 Validation options:
    -h <num>     holdout: random <num>% as training and rest as test
    -hf <num>    holdout: first <num>% as training and rest as test
    -hs <num>    random strat. holdout: <num>% as training and rest as test
    -hd <num>    deter. strat. holdout: <num>% as training and rest as test
    -cv <r> <n>  stratified <n>-fold cross validation testing with <r> rep.
 Output options:
    -db <file>   training data binary output in <file>
    -tb <file>   tree binary output to <file>
    -l <file>    log output appended to <file>
    -t <file>    text output to <file>
    -x <file>    tree XML output to <file>
    -d <file>    tree DOT output to <file>
    -s <file>    score output to <file>
    -oerr        output ordinal error measures
    -nl          don't output log to stdout
    -tstd        text output to stdout
    -xstd        tree XML output to stdout
    -dstd        tree DOT output to stdout
 Multi-core options
    -tt <n>      use <n> workers (default = )usage";

constexpr std::string_view k_after_workers = R"usage()

(*) .gz files are automatically gunzipped
(**) Orvik default pruning is -ebp, C4.5 default is -ebpg
)usage";

}  // namespace

std::string usage_text(std::string_view banner, unsigned long n_workers) {
  std::string text(banner);
  text += '\n';
  text += k_before_workers;
  text += std::to_string(n_workers);
  text += k_after_workers;
  return text;
}

}  // namespace orvcmd
