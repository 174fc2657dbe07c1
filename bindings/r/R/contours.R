# The points or codes of all contours as a list of one matrix or vector each, and who is whose neighbour.
as_contours <- function(groups) {
  contours <- groups$contours
  result <- list()
  for (name in setdiff(names(groups), "contours")) {
    ends <- cumsum(contours$length)
    columns <- as.matrix(groups[[name]][names(groups[[name]]) != "contour"])
    result[[name]] <- Map(function(first, last) {
      rows <- columns[seq.int(first, length.out = last - first + 1), , drop = ncol(columns) == 1]
      if (is.matrix(rows)) rownames(rows) <- NULL
      rows
    }, ends - contours$length + 1, ends)
  }
  contours$length <- NULL
  if (length(contours)) result$hierarchy <- contours
  result
}
