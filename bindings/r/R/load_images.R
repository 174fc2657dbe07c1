load_images <- function(paths, size = c(224, 224), color = "RGB", mean = NULL, std = NULL,
                        on_error = c("fill", "skip", "stop")) {
  ways <- c("fill", "skip", "stop")
  on_error <- if (identical(on_error, ways)) "fill" else on_error
  expect <- function(holds, argument, expected) {
    if (!isTRUE(holds)) refused("load_images", argument, paste0(argument, " is something else, expected ", expected))
  }
  expect(is.character(paths) && !anyNA(paths), "paths", "names of files")
  expect(is.numeric(size) && length(size) == 2 && all(size >= 1 & size < 2^31), "size", "rows and columns")
  expect(length(color) == 1 && color %in% c("RGB", "XYZ", "LAB", "LUV", "Grayscale"), "color",
         "one of RGB, XYZ, LAB, LUV, Grayscale")
  expect(is.null(mean) || is.numeric(mean), "mean", "numbers")
  expect(is.null(std) || is.numeric(std), "std", "numbers")
  expect(length(on_error) == 1 && on_error %in% ways, "on_error", "one of fill, skip, stop")
  loaded <- .Call(C_load_images, paths, as.integer(size), color, as.double(mean), as.double(std),
                  match(on_error, ways) - 1L)
  reasons <- strsplit(loaded[[3]], "\n", fixed = TRUE)[[1]]
  list(images = loaded[[1]], failed = loaded[[2]], reasons = reasons)
}
