# Tests of the package miravex in R itself: Rscript run_tests.R LIBRARY CALLS, where the package is installed in LIBRARY
# and CALLS is what example_calls wrote. Ends with 1 when anything fails.

arguments <- commandArgs(trailingOnly = TRUE)
place <- dirname(sub("--file=", "", grep("--file=", commandArgs(), value = TRUE), fixed = TRUE))
.libPaths(c(arguments[1], .libPaths()))
library(miravex)
for (file in c("compare_examples.R", "transcript.R")) source(file.path(place, file))

expect_error <- function(class, words, call, argument = "") {
  thrown <- tryCatch({
    call
    stop("it was accepted: ", words)
  }, miravex_error = identity)
  stopifnot(inherits(thrown, class), inherits(thrown, "error"))
  if (!identical(thrown$argument, argument)) stop("\"", thrown$argument, "\" is to blame for: ", words)
  if (!grepl(words, conditionMessage(thrown), fixed = TRUE)) stop(conditionMessage(thrown))
}

resident <- function() as.double(strsplit(readLines("/proc/self/statm"), " ")[[1]][2]) * 4096

nine <- matrix(1:81, 9)

tests <- list(
  # Every record's example has the bytes of the command line's result.
  examples = function() {
    compared <- compare_examples(file.path(arguments[2], "calls.txt"))
    functions <- unique(compared$tried)
    cat(length(compared$tried), "examples of", length(functions), "functions,", compared$skipped, "skipped\n")
    text <- .Call(miravex:::C_catalogue)
    stopifnot(lengths(regmatches(text, gregexpr("\"function\"", text))) == 54)
    stopifnot(length(functions) >= 54 - compared$skipped)
    # and a function and a page each, beside those that stand for none
    exported <- setdiff(getNamespaceExports("miravex"), "example_picture")
    stopifnot(length(exported) == 54, setequal(exported, functions) || compared$skipped > 0)
    for (name in exported) stopifnot(length(help((name), package = "miravex")) == 1)
  },

  refusals = function() {
    refused <- function(words, call, argument = "") expect_error("miravex_argument", words, call, argument)
    refused("radius is 0, expected at least 1 (try 1)", median_filter(nine, 0), "radius")
    refused("radius is 1.5, expected integer", median_filter(nine, 1.5), "radius")
    refused("radius is nan, expected integer", median_filter(nine, NaN), "radius")
    for (none in list(NA, NA_integer_, NA_real_))
      refused("radius is NA, expected", median_filter(nine, none), "radius")
    refused("mask holds NA", descriptor_matcher(diag(3), diag(3), mask = matrix(c(1L, NA, 1L), 3, 3)), "mask")
    refused("image holds others or NA, expected whole numbers from 0 to 255", dilation(nine + 200L), "image")
    refused("image holds others or NA", dilation(matrix(c(1L, NA), 4, 4)), "image")
    refused("image holds others or NA, expected TRUE and FALSE", dilation(matrix(NA, 4, 4)), "image")
    refused("whole numbers from 0 to 65535", dilation(nine + 65500, pixels = "bit16"), "image")
    refused("TRUE and FALSE, or 0 and 1", dilation(nine, pixels = "bit"), "image")
    refused("image has no doubles", dilation(nine, pixels = "real32"), "image")
    refused("try the option convert = usual", fast(nine / 255), "image")
    refused("image is a vector", median_filter(1:9), "image")
    refused("image has more than four dimensions", median_filter(array(0, rep(2, 5))), "image")
    refused("image has another type", median_filter(quote(x)), "image")
    refused("radius is a factor", median_filter(nine, factor(2)), "radius")
    refused("keypoints is a list, expected a data frame of numbers",
            orb(nine, mode = "compute", keypoints = list("a", 1)), "keypoints")
    refused("padding is \"Reflect\"", pyr_down(nine, padding = "Reflect"), "padding")
    refused("padding is no single text", pyr_down(nine, padding = c("a", "b")), "padding")
    refused("padding is no single text", pyr_down(nine, padding = NA_character_), "padding")
    refused("pixels is something else", dilation(nine, pixels = "int"), "pixels")
    refused("pixels is no text", dilation(nine, pixels = 3), "pixels")
    refused("colorspace is something else", dilation(nine, colorspace = "blue"), "colorspace")
    refused("convert is \"never mind\"" , dilation(nine, convert = "never mind"))
    refused("positions is no single text", dilation(nine, positions = 1), "positions")
    refused("size is something else", load_images("a", size = 0:1), "size")
    refused("color is something else", load_images("a", color = "Red"), "color")
    expect_error("miravex_failed", "face-detection failed: ", face_detection(nine, "/no/such/file.xml"))
    # What is missing is R's own error; unknown names too.
    stopifnot(inherits(try(median_filter(), silent = TRUE), "try-error"))
    stopifnot(grepl("unused argument", try(median_filter(nine, radios = 3), silent = TRUE)))
    # Errors tell which call of the user's it was.
    thrown <- tryCatch(median_filter(nine, 0), error = identity)
    stopifnot(identical(conditionCall(thrown), quote(median_filter(nine, 0))), thrown$operation == "median_filter")
  },

  results = function() {
    # One bright pixel, in row 3 and column 5.
    image <- matrix(0L, 10, 12)
    image[3, 5] <- 255L
    found <- find_contours(image)
    stopifnot(identical(found$points, list(cbind(x = 5, y = 3))))
    stopifnot(identical(unlist(found$hierarchy), c(`next` = 0, previous = 0, first_child = 0, parent = 0)))
    stopifnot(identical(find_contours(image, positions = "library")$points, list(cbind(x = 4, y = 7))))
    stopifnot(length(find_contours(matrix(0L, 4, 4))$points) == 0)
    chains <- find_contours(image * 0L + 255L, chain_code = TRUE)
    stopifnot(is.list(chains$codes), length(chains$codes[[1]]) == 40)

    # Arrays come back in the type that they went in, with all of their dimensions.
    given <- array(as.integer(runif(7 * 5 * 3) * 200), c(7, 5, 3))
    expected <- max(given[3:5, 2:4, 2])
    dilated <- dilation(given, radius = 1)
    stopifnot(is.integer(dilated), identical(dim(dilated), c(7L, 5L, 3L)), dilated[4, 3, 2] == expected)
    stopifnot(identical(dilation(given + 0.0, radius = 1, pixels = "byte"), dilated))
    wide <- dilation(given * 300L, radius = 1, pixels = "bit16")
    stopifnot(is.integer(wide), wide[4, 3, 2] == expected * 300L)
    reals <- dilation(given / 256, radius = 1)
    stopifnot(is.double(reals), reals[4, 3, 2] == expected / 256)
    floats <- dilation(given / 256, radius = 1, pixels = c(image = "real32"))
    stopifnot(identical(floats, reals)) # 256ths are floats
    bytes <- array(as.raw(given), dim(given))
    stopifnot(identical(dilation(bytes, radius = 1), array(as.raw(dilated), dim(given))))
    stopifnot(is.logical(dilation(matrix(runif(36) > 0.9, 6))))
    # as magick keeps pictures: channels x columns x rows
    bitmap <- structure(aperm(bytes, 3:1), class = c("bitmap", "rgb"))
    expected <- structure(aperm(array(as.raw(dilated), dim(given)), 3:1), class = c("bitmap", "rgb"))
    stopifnot(identical(dilation(bitmap, radius = 1), expected))
    stopifnot(identical(dim(image_pad(bitmap, top = 2, bottom = 0, left = 1, right = 0)), c(3L, 6L, 9L)))

    # What one function finds another takes.
    scene <- matrix(as.integer(runif(150 * 150) * 255), 150)
    keypoints <- orb(scene)
    stopifnot(is.data.frame(keypoints), nrow(keypoints) > 0, all(keypoints$x >= 1 & keypoints$x <= 150))
    described <- orb(scene, mode = "compute", keypoints = keypoints)
    both <- orb(scene, mode = "detectAndCompute")
    stopifnot(identical(names(both), c("keypoints", "descriptors")), is.matrix(described))
    matches <- descriptor_matcher(described, described, matcher = "BruteForce")
    stopifnot(identical(matches$query, matches$train))

    # A flow keeps its rows and columns; downward and to the right are positive.
    smooth <- example_picture(150, 150)
    moved <- smooth[c(149:150, 1:148), ]
    flow <- optical_flow_farneback(array(c(smooth, moved), c(150, 150, 1, 2)))
    stopifnot(identical(dim(flow$v), c(150L, 150L, 1L)), abs(median(flow$v[40:110, 40:110, 1]) - 2) < 0.3)

    # What was given is as it was.
    kernel <- c(1, 2, 3)
    image_convolve(nine / 255, kernel, kernel)
    stopifnot(identical(kernel, c(1, 2, 3)), identical(nine, matrix(1:81, 9)))
  },

  options = function() {
    reals <- matrix(runif(900), 30)
    heard <- NULL
    converted <- withCallingHandlers(fast(reals, convert = "usual"), miravex_converted = function(note) {
      heard <<- note
      invokeRestart("muffleWarning")
    })
    stopifnot(identical(converted, fast(matrix(as.integer(round(reals * 255)), 30))))
    stopifnot(conditionMessage(heard) == "fast: image: real samples are converted to byte")
    # As an error it jumps over a call whose result is there.
    stopifnot(inherits(tryCatch(fast(reals, convert = "usual"), warning = identity), "miravex_converted"))
    expected <- median_filter(nine, radius = 2)
    for (radius in list(2, 2L, as.raw(2), NULL))
      stopifnot(identical(median_filter(nine, radius = radius), expected))
    stopifnot(identical(image_perspective_transformation(nine, diag(3)), nine))
  },

  loading = function() {
    file <- tempfile(fileext = ".ppm")
    writeLines(c("P3 2 1 255", "255 0 0  0 0 255"), file)
    loaded <- load_images(c(file, "/no/such/file.png", file), size = c(1, 2), on_error = "skip")
    stopifnot(identical(loaded$images, array(rep(c(1, 0, 0, 0, 0, 1), 2), c(1, 2, 3, 2))))
    stopifnot(identical(loaded$failed, 2), identical(loaded$reasons, "/no/such/file.png: missing"))
    shifted <- load_images(file, size = c(1, 2), mean = c(0.5, 0, 0), std = 2)
    stopifnot(identical(as.vector(shifted$images), c(0.25, -0.25, 0, 0, 0, 0.5)), length(shifted$reasons) == 0)
    stopifnot(identical(dim(load_images(character(), size = c(4, 5))$images), c(4L, 5L, 3L, 0L)))
  },

  memory = function() {
    often <- function(times) for (i in seq_len(times)) {
      median_filter(nine, 1)
      tryCatch(median_filter(nine, 0), error = identity)
    }
    often(1000)
    gc(full = TRUE)
    before <- resident()
    often(10000)
    gc(full = TRUE)
    stopifnot(resident() - before < 2 * 2^20)
  },

  # An interrupt in the middle of a long call is heard at once, and R goes on with other calls.
  interrupt = function() {
    script <- tempfile(fileext = ".R")
    writeLines(c(
      sprintf("library(miravex, lib.loc = %s)", deparse(arguments[1])),
      "noisy <- matrix(as.integer(runif(2250000) * 255), 1500)",
      "slow <- function() fast_nl_means_denoising(noisy, search_window = 41)",
      "system(sprintf('(sleep 0.5; kill -INT %d) &', Sys.getpid()))",
      "took <- system.time(how <- tryCatch({ slow(); 'ended' }, interrupt = class))",
      "whole <- system.time(slow())",
      "cat(how[1], took[['elapsed']] < whole[['elapsed']], median_filter(matrix(1:9, 3))[5], '\\n')"), script)
    said <- system2(file.path(R.home("bin"), "Rscript"), c("--vanilla", script), stdout = TRUE, stderr = TRUE)
    if (!identical(trimws(said), "interrupt TRUE 5")) stop(said)
    stopifnot(is.null(attr(said, "status")))
  },

  # Children of a process that has made calls make calls.
  fork = function() {
    picture <- matrix(as.integer(runif(160000) * 255), 400)
    expected <- fast_nl_means_denoising(picture)
    results <- parallel::mclapply(1:4, function(i) fast_nl_means_denoising(picture), mc.cores = 2)
    for (result in results) stopifnot(identical(result, expected))
    stopifnot(identical(fast_nl_means_denoising(picture), expected))
  },

  # Limits of time end a call as the errors that they are.
  limits = function() {
    noisy <- matrix(as.integer(runif(2250000) * 255), 1500)
    setTimeLimit(elapsed = 0.3, transient = TRUE)
    stopped <- tryCatch({ fast_nl_means_denoising(noisy, search_window = 41); "ended" }, error = conditionMessage)
    setTimeLimit()
    stopifnot(identical(stopped, "reached elapsed time limit"))
  },

  reloading = function() {
    expected <- median_filter(nine, 1)
    for (i in 1:3) {
      unloadNamespace("miravex")
      stopifnot(!"miravex" %in% names(getLoadedDLLs()))
      library(miravex)
      stopifnot(identical(miravex::median_filter(nine, 1), expected))
    }
  },

  # The transcript in the documentation is what R says today.
  documents = function() {
    kept <- file.path(place, "..", "..", "..", "docs", "kernels")
    if (!identical(transcript(file.path(kept, "r.R")), readLines(file.path(kept, "r.txt"))))
      stop("docs/kernels/r.txt is old")
  }
)

failures <- 0
for (name in names(tests)) {
  thrown <- tryCatch({
    tests[[name]]()
    NULL
  }, error = identity)
  cat(if (is.null(thrown)) "passed:" else "FAILED:", name, if (!is.null(thrown)) conditionMessage(thrown), "\n")
  failures <- failures + !is.null(thrown)
}
quit(status = failures > 0)
