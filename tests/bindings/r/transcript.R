# What R shows for the lines of a file: each line behind a prompt, then its output.

transcript <- function(file) {
  where <- new.env(parent = globalenv())
  unlist(lapply(readLines(file), function(line) {
    said <- utils::capture.output(tryCatch({
      shown <- withVisible(eval(parse(text = line), where))
      if (shown$visible) print(shown$value)
    }, error = function(thrown) cat("Error in ", deparse(conditionCall(thrown)), ":\n  ", conditionMessage(thrown),
                                    "\n", sep = "")))
    c(paste(">", line), said)
  }))
}
