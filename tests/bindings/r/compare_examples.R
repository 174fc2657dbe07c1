# Makes the calls of a file that example_calls wrote and compares each result, byte for byte. Gives the functions that
# were called, and how many examples could not be had.

compare_examples <- function(file) {
  tried <- character()
  skipped <- -1
  for (line in readLines(file)) {
    words <- strsplit(line, " ", fixed = TRUE)[[1]]
    switch(words[1],
      call = {
        name <- words[2]
        positions <- words[3]
        given <- list()
        pixels <- colors <- character()
        expected <- list()
      },
      image = {
        given[[words[2]]] <- read_image(words[3:7], words[length(words)])
        pixels[words[2]] <- words[3]
        colors <- c(colors, words[8])
      },
      numbers = given[[words[2]]] <- read_numbers(words[-(1:2)]),
      number = given[[words[2]]] <- as.double(words[3]),
      text = given[[words[2]]] <- paste(words[-(1:2)], collapse = " "),
      batch = given <- list(readLines(words[6]), size = as.double(words[2:3]), color = words[4]),
      is = expected <- add_result(expected, words),
      end = {
        same_result(name, called(name, given, positions, pixels, colors), expected)
        tried <- c(tried, name)
      },
      calls = {
        stopifnot(length(tried) == as.integer(words[2]))
        skipped <- as.integer(words[4])
      }
    )
  }
  stopifnot("the file of calls is cut short" = skipped >= 0)
  list(tried = tried, skipped = skipped)
}

called <- function(name, given, positions, pixels, colors) {
  if (name == "load_images") return(do.call(load_images, given)$images)
  if (length(pixels)) given$pixels <- pixels
  if ("unspecified" %in% colors) given$colorspace <- "unspecified"
  if ("positions" %in% names(formals(name))) given$positions <- positions
  do.call(name, given)
}

# Elements of a file that was written column by column.
read_elements <- function(file, type, count) {
  switch(type,
    bit = as.logical(readBin(file, "integer", count, 1)),
    byte = readBin(file, "integer", count, 1, signed = FALSE),
    bit16 = readBin(file, "integer", count, 2, signed = FALSE),
    real32 = readBin(file, "double", count, 4),
    readBin(file, "double", count, 8))
}

# Rows x columns; x channels where there are several; x channels x frames.
read_image <- function(words, file) {
  sizes <- as.integer(words[2:5])
  elements <- read_elements(file, words[1], prod(pmax(sizes, c(0, 0, 0, 1))))
  array(elements, if (sizes[4] > 0) sizes else if (sizes[3] > 1) sizes[1:3] else sizes[1:2])
}

read_numbers <- function(words) {
  sizes <- as.integer(words[seq_len(as.integer(words[1])) + 1])
  elements <- read_elements(words[length(words)], "real", prod(sizes))
  if (length(sizes) > 1) array(elements, sizes) else elements
}

add_result <- function(expected, words) {
  if (words[2] == "image") {
    expected$image <- read_image(words[3:7], words[length(words)])
  } else if (words[2] == "real") {
    expected$real <- as.double(words[3])
  } else {
    group <- gsub("-", "_", words[3])
    expected$parts[[group]][[gsub("-", "_", words[4])]] <- read_numbers(words[-(1:4)])
  }
  expected
}

# The same type, sizes and bits, so that one NaN is not another and 0 is not -0.
same <- function(name, found, expected) {
  if (typeof(found) != typeof(expected) || !identical(dim(found), dim(expected)))
    stop(name, " gave ", typeof(found), " of ", toString(dim(found)))
  if (!identical(as.vector(found), as.vector(expected), num.eq = FALSE, single.NA = FALSE))
    stop(name, ": another result")
}

same_result <- function(name, result, expected) {
  stopifnot(length(expected) == 1)
  if (!is.null(expected$image)) return(same(name, result, expected$image))
  if (!is.null(expected$real)) return(same(name, result, expected$real))
  if (!is.null(expected$parts$contours)) return(same_contours(name, result, expected$parts))
  for (group in names(expected$parts)) {
    columns <- expected$parts[[group]]
    found <- if (length(expected$parts) > 1) result[[group]] else result
    if (identical(names(columns), group)) {
      same(name, found, columns[[1]])
      next
    }
    if (!identical(names(found), names(columns))) stop(name, " has other columns")
    for (column in names(columns)) same(name, found[[column]], columns[[column]])
  }
}

same_contours <- function(name, result, parts) {
  what <- setdiff(names(parts), "contours")
  stopifnot(length(what) == 1, length(parts$contours$length) > 0)
  same(name, as.double(vapply(result[[what]], NROW, 1L)), parts$contours$length)
  rows <- lapply(result[[what]], as.matrix)
  columns <- cbind(rep(as.double(seq_along(rows)), vapply(rows, nrow, 1L)), do.call(rbind, rows))
  stopifnot(names(parts[[what]])[1] == "contour")
  for (i in seq_along(parts[[what]])) same(name, columns[, i], parts[[what]][[i]])
  for (column in setdiff(names(parts$contours), "length"))
    same(name, result$hierarchy[[column]], parts$contours[[column]])
}
