# References of the gpa and fit tests, made offline with R's `shapes` package:
#   Rscript make_gpa_references.R
# Inputs: the first 10 gorilla skulls of gorf.dat (8 landmarks, 2-D) and
# the first 8 macaque skulls of macaques (7 landmarks, 3-D). procGPA with
# scale = TRUE is the full Procrustes estimator, scale = FALSE the rigid one.
library(shapes)
data(gorf.dat)
data(macaques)
emit <- function(con, name, a) {  # a: m x d x k array, or m x d matrix; a shape per line
  writeLines(paste0("@", name), con)
  if (length(dim(a)) == 2) a <- array(a, c(dim(a), 1))
  for (i in seq_len(dim(a)[3])) {
    writeLines(paste(format(as.vector(t(a[, , i])), digits = 17, trim = TRUE), collapse = " "), con)
  }
}
for (case in list(list("gpa_gorf.txt", gorf.dat[, , 1:10]), list("gpa_macaques.txt", macaques$x[, , 1:8]))) {
  x <- case[[2]]
  con <- file(case[[1]], "w")
  writeLines(paste("@shape", dim(x)[3], dim(x)[1], dim(x)[2]), con)
  emit(con, "input", x)
  for (scale in c(TRUE, FALSE)) {
    r <- procGPA(x, scale = scale, tol1 = 1e-12, tol2 = 1e-12, distances = FALSE, pcaoutput = FALSE)
    emit(con, paste0(if (scale) "full" else "rigid", "_mean"), r$mshape)
    emit(con, paste0(if (scale) "full" else "rigid", "_aligned"), r$rotated)
  }
  close(con)
}
# The fit tests' data: R's monthly co2 series, x = the year (1959-1997).
x <- format(as.numeric(time(co2)), digits = 17, trim = TRUE)
writeLines(sapply(split(paste(x, as.numeric(co2)), rep(1:39, each = 12)), paste, collapse = " "),
           "co2.txt")  # a year of x y pairs per line
