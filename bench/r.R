# The price of calls from R, each in its turn, least and median. A median of 3 x 3 bytes and a function that does nothing;
# a dilation of 2000 x 2000 bytes by 3 x 3 as raw and integer arrays, and as a bitmap of magick, which lies row by row.
# Usage: Rscript bench/r.R

library(miravex, lib.loc = "build/release/r/library")

elapsed <- function(call) {
  start <- as.double(Sys.time())
  call()
  as.double(Sys.time()) - start
}

report <- function(rounds, scale, unit, calls) {
  lapply(calls, elapsed)
  seconds <- replicate(rounds, vapply(calls, elapsed, 0)) * scale
  for (name in names(calls))
    cat(sprintf("%-40s least %7.2f, median %7.2f %s\n", name, min(seconds[name, ]), median(seconds[name, ]), unit))
}

small <- matrix(as.raw(1:9), 3)
nothing <- function(image, radius) NULL
often <- function(f) function() for (i in 1:5000) f(small, 1)
report(15, 1e6 / 5000, "us", list("median of 3 x 3 bytes" = often(median_filter), "nothing" = often(nothing)))

for (channels in c(1, 3)) {
  raw <- array(as.raw(100), c(2000, 2000, channels))
  integers <- array(100L, dim(raw))
  bitmap <- structure(aperm(raw, 3:1), class = c("bitmap", "rgb"))
  calls <- list(function() dilation(bitmap, 1), function() dilation(raw, 1), function() dilation(integers, 1))
  names(calls) <- paste(c("bitmap", "raw array", "integers"), "of", channels, "channels")
  report(15, 1e3, "ms", calls)
}
