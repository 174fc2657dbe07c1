example_picture <- function(rows = 120, columns = 160, channels = 1, frames = 0) {
  one <- function(channel, frame) {
    # A slanted bright square, a dark disc and waves, which move to the right from frame to frame.
    x <- matrix(seq_len(columns), rows, columns, byrow = TRUE) - 2 * (frame - 1)
    y <- matrix(seq_len(rows), rows, columns)
    shade <- 110 + 30 * sin(x / (5 + channel)) * cos(y / 7)
    shade[abs(x - columns * 0.3 + y / 4) < rows / 5 & abs(y - rows * 0.45) < rows / 5] <- 200 + 10 * channel
    shade[(x - columns * 0.7)^2 + (y - rows * 0.6)^2 < (rows / 4)^2] <- 40
    as.integer(round(shade))
  }
  samples <- unlist(lapply(seq_len(max(frames, 1)), function(frame) {
    lapply(seq_len(channels), one, frame = frame)
  }))
  sizes <- c(rows, columns, if (channels > 1 || frames > 0) channels, if (frames > 0) frames)
  array(samples, sizes)
}
