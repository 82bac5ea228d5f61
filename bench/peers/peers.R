# One measurement of an R package: PACKAGE TASK CSV ROLES TRAINING_ROWS WORKERS, printed as JSON.
# ROLES has a letter a column: c continuous, d discrete, y class, - unused.
args <- commandArgs(trailingOnly = TRUE)
package <- args[1]
task <- args[2]
path <- args[3]
roles <- strsplit(args[4], "")[[1]]
n_train <- as.integer(args[5])
workers <- as.integer(args[6])
suppressPackageStartupMessages(library(package, character.only = TRUE))
clock <- function() proc.time()[["elapsed"]]

print_figures <- function(...) {
  figures <- c(...)
  cat("{", paste0('"', names(figures), '": ', figures, collapse = ", "), "}\n", sep = "")
}

# Base R and data.table read into the same frame; unknown values become a level or the median.
read_rows <- function() {
  classes <- ifelse(roles == "c", "numeric", "character")
  frame <- read.csv(path, na.strings = "?", colClasses = classes, strip.white = TRUE)
  frame <- frame[, roles != "-"]
  kinds <- roles[roles != "-"]
  for (i in seq_along(frame)) {
    column <- frame[[i]]
    if (kinds[i] == "c") {
      column[is.na(column)] <- median(column, na.rm = TRUE)
    } else {
      column[is.na(column)] <- "?"
      column <- factor(column)
    }
    frame[[i]] <- column
  }
  names(frame)[kinds == "y"] <- "y"
  frame
}

if (task == "load") {
  setDTthreads(workers)
  start <- clock()
  frame <- fread(path, na.strings = "?", nThread = workers, strip.white = TRUE)
  codes <- lapply(frame, frankv, ties.method = "dense")
  print_figures(seconds = clock() - start)
} else {
  frame <- read_rows()
  train <- frame[seq_len(n_train), ]
  rest <- frame[-seq_len(n_train), ]
  predict_seconds <- 0
  if (package == "rpart") {
    if (workers > 1) {
      cat("null\n")
      quit()
    }
    start <- clock()
    model <- rpart(y ~ ., train, method = "class", control = rpart.control(xval = 0))
    seconds <- clock() - start
    start <- clock()
    predicted <- predict(model, rest, type = "class")
    nodes <- nrow(model$frame)
  } else {
    if (task == "tree" && workers > 1) {
      cat("null\n")
      quit()
    }
    p <- ncol(frame) - 1
    one <- task == "tree"
    start <- clock()
    model <- ranger(y ~ ., train, num.trees = if (one) 1 else 100, mtry = if (one) p else NULL,
                    replace = !one, sample.fraction = 1, min.node.size = if (one) 4 else 1,
                    num.threads = workers, seed = 1, respect.unordered.factors = "order",
                    oob.error = FALSE)
    seconds <- clock() - start
    start <- clock()
    predicted <- predict(model, rest, num.threads = workers)$predictions
    nodes <- if (one) length(model$forest$split.varIDs[[1]]) else 0
  }
  print_figures(seconds = seconds, predict = clock() - start, nodes = nodes,
                error = 100 * mean(as.character(predicted) != as.character(rest$y)))
}
