image <- matrix(c(10, 20, 30, 40, 255, 50, 60, 70, 80), 3, byrow = TRUE)
median_filter(image, radius = 1, pixels = "byte")
shapes <- matrix(0L, 60, 80); shapes[11:30, 21:50] <- 255L
outlines <- find_contours(shapes)
outlines$points[[1]]
outlines$hierarchy
earth_mover_distance(cbind(0:2, 0), c(1, 2, 1), rbind(c(0, 3), c(2, 3)), c(2, 2))
median_filter(shapes, radius = 0)
tryCatch(median_filter(shapes, radius = 0), miravex_argument = function(e) e$argument)
head(fast(example_picture(), threshold = 20), 3)
