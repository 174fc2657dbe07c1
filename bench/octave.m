## The package for GNU Octave against the functions of octave-image, turn by turn, and the price of a call against that
## of a function that does nothing. Ratios are medians. Usage: octave-cli bench/octave.m, with octave-image installed
## (scripts/install-deps rivals).

1;

function r = ratio (theirs, ours, rounds)
  theirs ();
  ours ();
  quotients = zeros (1, rounds);
  for i = 1:rounds
    tic;
    theirs ();
    slow = toc;
    tic;
    ours ();
    quotients(i) = slow / toc;
  endfor
  r = median (quotients);
endfunction

function varargout = nothing (varargin)
  varargout{1} = varargin{1};
endfunction

function often (call)
  for i = 1:2000
    call ();
  endfor
endfunction

## Microseconds of one of 5000 calls of 3 x 3 bytes, least and median: of the package, of the oct-file beneath it, and of a
## function that does nothing, each in its turn.
function price (small)
  names = {"image", "radius"};
  given = {small, 1};
  times = zeros (9, 3);
  for i = 1:9
    tic;
    for k = 1:5000 miravex.median_filter (small, 1); endfor
    times(i, 1) = toc;
    tic;
    for k = 1:5000 __miravex__ ("median_filter", names, 1, given); endfor
    times(i, 2) = toc;
    tic;
    for k = 1:5000 nothing (small, 1); endfor
    times(i, 3) = toc;
  endfor
  times *= 1e6 / 5000;
  printf ("a call of 3 x 3 bytes: %.1f (%.1f) us, of the oct-file %.1f (%.1f), of nothing %.1f (%.1f)\n",
          [min(times); median(times)]);
endfunction

pkg load image
addpath (fullfile (fileparts (mfilename ("fullpath")), "..", "build", "release", "octave"));
small = uint8 (magic (3));
gray = uint8 (conv2 (rand (1000) * 255, ones (5) / 25, "same"));
edges = edge (gray, "Canny");
bytes = uint8 (edges) * 255;

price (small);
printf ("a call of 3 x 3, over one that does nothing: %.2f\n",
        ratio (@() often (@() miravex.median_filter (small, 1)), @() often (@() nothing (small, 1)), 9));
printf ("medfilt2, 5 x 5: %.1f\n",
        ratio (@() medfilt2 (gray, [5, 5], "symmetric"), @() miravex.median_filter (gray, 2), 5));
printf ("imdilate, 5 x 5: %.1f\n", ratio (@() imdilate (gray, ones (5)), @() miravex.dilation (gray, 2), 9));
printf ("hough_line: %.1f\n",
        ratio (@() hough_line (edges), @() miravex.hough_lines (bytes, "form", "Equation"), 5));
