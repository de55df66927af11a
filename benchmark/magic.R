# SPDX-License-Identifier: BSD-3-Clause
#
# mgcv's `magic` with a penalty of its own for each column: generalized cross validation by
# Newton steps, the peer of a ridge fit with many penalties.
# S. Wood, "Stable and efficient multiple smoothing parameter estimation for generalized
# additive models", J. Am. Stat. Assoc. 99 (2004).
#
# usage: Rscript magic.R FOLDER: reads X.csv, whose last column is the target; prints the
# seconds of one fit.
suppressPackageStartupMessages(library(mgcv))
folder <- commandArgs(trailingOnly = TRUE)[1]
table <- as.matrix(read.csv(file.path(folder, "X.csv"), header = FALSE))
p <- ncol(table) - 1
X <- scale(table[, 1:p])
y <- table[, p + 1] - mean(table[, p + 1])
S <- rep(list(matrix(1, 1, 1)), p)
fit <- function() magic(y, X, sp = rep(-1, p), S = S, off = 1:p, gcv = TRUE)
fit()
cat(median(replicate(3, system.time(fit())[["elapsed"]])), "\n")
