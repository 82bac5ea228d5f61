// Every option in groups, for "orvcmd --help": below the usage text, which is published as it is.
#include "options.h"

namespace orvcmd {

std::string_view all_options_text() {
  return R"text(
All options, by what they are about; orvcmd(1) tells more of each.

The command line
    --help               this text
The table
    -f FILE              metadata in FILE.names and training data in FILE.data
    -fm FILE  -fd FILE   metadata; training data; of either .gz is gunzipped
    -bd FILE             a table that -db or -dbm saved
    -sep C               what separates columns, by default ','
    -norescale           case weights as they stand, not summing to the number of rows
    -ownunk              unknown cells of a discrete attribute are a value of their own
The model
    -bt FILE             a model that -tb saved, instead of a table
    -m NUM  -depth NUM   least weight of two branches of a split; levels of splits
    -gain  -grpure       information gain, pure gain ratio, instead of the gain ratio
Ensembles
    -ba N  -fo N         bagged trees; a random forest
    -rf N  -bo N         a forest as did best over many tables; boosted trees
    -mtry A              attributes that a node measures: N, P%, sqrt, log2 or all
    -free  -binary       branches as light as may be; a discrete value against the rest
    -extra               random cuts
    -bag P  -noreplace   percent of the cases drawn for a tree; none twice
    -balance             every class is drawn equally often
    -soft                the mean of the trees' shares instead of a vote
Pruning
    -np  -npp            pre-pruning only; none at all
    -ebp  -ebpg  -ebpa   error-based pruning, the default; and raising the largest, the best child
    -c NUM               its confidence level, in (0,1]
    -pep  -pepg  -pepa   pessimistic pruning
    -rep  -repg  -repa   reduced-error pruning, on cases that are set aside
    -mep  -mepg  -mepa   minimum-error pruning, likewise
Costs
    -costs FILE          what errors cost, lines predicted,actual,cost: the cheapest class is predicted
    -costw               the costs weigh the cases that are grown on instead
    -cw W                weights of the classes: balanced, or a file of lines class,weight
    -laplace             shares of leaves lean on those of the training cases
Attributes
    -as B                the smallest set with an error of at most the best one + B points
    -sfs  -sbe  -dtsbe   forward selection; backward elimination; the same faster
    -fslimit SECONDS     an end to the search, with the best so far
Validation
    -h NUM  -hf NUM      train on NUM % of the cases, drawn; on the first ones
    -hs NUM  -hd NUM     drawn from each class; taken from each class without drawing
    -cv R N              R times cross-validation of N folds
    -ft FILE             test rows
Scores
    -fs FILE  -s FILE    rows to score; where the scores go
    -prob                the share of every class, behind class and confidence
    -sets P  -byclass    sets with the true class for P % of the rows; for those of each class
    -calibrate HOW       shares that mean what they say: isotonic, platt, plain (for sets only)
    -calrows FILE        on these rows, not on training rows that trees were not grown on
    -shap FILE           why: what each attribute adds to the share of every class, before calibration
    -shappred            in it: the predicted class only
    -shaptop N           in it: the N largest contributions of a row by name
    -unseen              values that training did not have count as unknown, in tests too
Output
    -tb FILE  -db FILE   save the model; the table
    -dbm FILE            save the table to be used where it lies, larger than memory too
    -t FILE  -tstd       text report, into a file; on standard output
    -oerr  -imp          in it: ordinal errors; the importance of attributes
    -metrics             in it: precision, recall, areas, log-loss and more, with intervals
    -mjson FILE          these figures as JSON
    -x FILE  -xstd       PMML 2.0, likewise
    -d FILE  -dstd       a graph for Graphviz, likewise
    -pmml FILE           PMML 4.4
    -json FILE           the model as JSON
    -l FILE              append the log
    -lstd  -nl           the log on standard output, the default; not there
The run
    -tt N                workers, 0 for as many as the machine has
    -columns             the processes of orvmpi grow single trees together, each by its columns
    -seed N              the same random draws again
    -resume FILE         keep finished tasks there, and go on from those that it has
    -tti T W FILE        a trace of the times with T up to W workers
Experiments
    -sdm2012 N           compare prunings on the folds of -cv
    -as2018 A X Y N      compare attribute searches and forests on the folds of -cv

orvik is the program for CSV files, with verbs: orvik --help
)text";
}

}  // namespace orvcmd
