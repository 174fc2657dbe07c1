## Tests of the package miravex in Octave itself: run_tests (PACKAGE, CALLS), where PACKAGE is its folder and CALLS
## what example_calls wrote. Ends Octave with 1 when anything fails.

function run_tests (package, calls)
  addpath (package);
  failures = {};
  for check = {@examples, @blocks, @refusals, @results, @options, @memory, @interrupt, @reloading, @documents}
    try
      check{1} (package, calls);
      printf ("passed: %s\n", func2str (check{1}));
    catch thrown
      failures{end + 1} = sprintf ("%s: %s", func2str (check{1}), thrown.message);
      printf ("FAILED: %s\n", failures{end});
    end_try_catch
  endfor
  if (! isempty (failures))
    exit (1, "force");
  endif
endfunction

## Every record's example has the bytes of the command line's result.
function examples (package, calls)
  [tried, skipped] = compare_examples (fullfile (calls, "calls.txt"));
  functions = unique (tried);
  printf ("%d examples of %d functions, %d skipped\n", numel (tried), numel (functions), skipped);
  catalogue = jsondecode (__miravex__ ());
  assert (numel (catalogue.operations), 54);
  assert (numel (functions) >= 54 - skipped);
endfunction

## The tests inside of every function's file.
function blocks (package, calls)
  files = dir (fullfile (package, "+miravex", "*.m"));
  assert (numel (files), 54 + 1); # load_images stands for an operation, and demo for none
  for i = 1:numel (files)
    [passed, tried] = test (fullfile (files(i).folder, files(i).name), "quiet", "/dev/null");
    assert (tried > 0 || strcmp (files(i).name, "demo.m"), "%s has no tests", files(i).name);
    assert (passed == tried, "%s: %d of %d tests passed", files(i).name, passed, tried);
    ## Its help is Texinfo that can be shown.
    [text, format] = get_help_text (fullfile (files(i).folder, files(i).name));
    assert (format, "texinfo");
    [shown, status] = __makeinfo__ (text, "plain text");
    assert (status == 0, "%s: its help is broken", files(i).name);
    assert (! isempty (strfind (shown, ["miravex." files(i).name(1:end - 2)])));
    check_examples (files(i).name, text);
  endfor
endfunction

## Examples in the help are lines that Octave can read.
function check_examples (name, text)
  examples = regexp (text, '@example\n(.*?)\n *@end example', "tokens");
  assert (! isempty (examples) || strcmp (name, "demo.m"), "%s has no example", name);
  for i = 1:numel (examples)
    eval (sprintf ("if (false)\n%s\nendif", strrep (strrep (examples{i}{1}, "@{", "{"), "@}", "}")));
  endfor
endfunction

function refusals (package, calls)
  image = uint8 (magic (9));
  expect_error ("miravex:argument", "radius is 0, expected at least 1 (try 1)", @() miravex.median_filter (image, 0));
  expect_error ("miravex:argument", "radius is 1.5, expected integer", @() miravex.median_filter (image, 1.5));
  expect_error ("miravex:argument", "radius is nan, expected integer", @() miravex.median_filter (image, NaN));
  expect_error ("miravex:argument", "has no argument \"radios\"", @() miravex.median_filter (image, "radios", 3));
  expect_error ("miravex:argument", "try the option convert = usual", @() miravex.fast (double (image)));
  expect_error ("miravex:argument", "image is of class int32", @() miravex.median_filter (int32 (image)));
  expect_error ("miravex:argument", "image is of class cell", @() miravex.median_filter ({image}));
  expect_error ("miravex:argument", "image is of class double, expected logical", ...
                @() miravex.median_filter (complex (double (image), 1)));
  expect_error ("miravex:argument", "at most rows x columns", @() miravex.median_filter (zeros (2, 2, 1, 1, 2)));
  expect_error ("miravex:argument", "by name and value", @() miravex.median_filter (image, "radius"));
  expect_error ("miravex:argument", "colorspace is \"blue\"", @() miravex.median_filter (image, "colorspace", "blue"));
  expect_error ("miravex:argument", "padding is \"Reflect\"", @() miravex.pyr_down (image, "padding", "Reflect"));
  expect_error ("miravex:argument", "2 frames", @() miravex.stylization (zeros (5, 5, 3, 2, "uint8")));
  expect_error ("miravex:failed", "face-detection failed: ", ...
                @() miravex.face_detection (image, "cascade", "/no/such/file.xml"));
endfunction

function results (package, calls)
  ## One bright pixel, in row 3 and column 5.
  image = zeros (10, 12, "uint8");
  image(3, 5) = 255;
  found = miravex.find_contours (image);
  assert (found.points, {[5, 3]});
  assert ([found.next, found.previous, found.first_child, found.parent], [0, 0, 0, 0]);
  found = miravex.find_contours (image, "positions", "library");
  assert (found.points, {[4, 7]});
  found = miravex.find_contours (zeros (4, "uint8"));
  assert (size (found.points), [0, 1]);

  ## Arrays come back in the class that they went in, with all of their dimensions.
  for name = {"uint8", "uint16", "single", "double"}
    given = cast (round (rand (7, 5, 3) * 200), name{1});
    given(1) = 0;
    dilated = miravex.dilation (given, "radius", 1);
    assert (isa (dilated, name{1}) && isequal (size (dilated), [7, 5, 3]));
    assert (dilated(4, 3, 2), max (given(3:5, 2:4, 2)(:)));
  endfor
  assert (class (miravex.dilation (rand (6) > 0.9)), "logical");

  ## What one function finds another takes.
  scene = uint8 (rand (150) * 255);
  keypoints = miravex.orb (scene);
  described = miravex.orb (scene, "mode", "compute", "keypoints", keypoints);
  both = miravex.orb (scene, "mode", "detectAndCompute");
  assert (fieldnames (both), {"keypoints"; "descriptors"});
  matches = miravex.descriptor_matcher (described, described, "matcher", "BruteForce");
  assert (matches.query, matches.train);

  ## A flow keeps its rows and columns; downward is positive.
  moved = circshift (imresized (scene), 2, 1);
  flow = miravex.optical_flow_farneback (cat (4, imresized (scene), moved));
  assert (size (flow.v), [150, 150]);
  assert (median (flow.v(40:110, 40:110)(:)), 2, 0.3);
endfunction

## A smooth picture of the same size.
function smooth = imresized (image)
  smooth = uint8 (conv2 (double (image), ones (9) / 81, "same"));
endfunction

function options (package, calls)
  reals = rand (30);
  warning ("off", "miravex:converted", "local");
  lastwarn ("");
  converted = miravex.fast (reals, "convert", "usual");
  [text, id] = lastwarn ();
  assert (converted, miravex.fast (uint8 (round (reals * 255))));
  warning ("on", "miravex:converted", "local");
  evalc ("miravex.fast (reals, \"convert\", \"usual\");");
  [text, id] = lastwarn ();
  assert (id, "miravex:converted");
  assert (text, "fast: image: real samples are converted to byte");
  ## By position and by name; empty is left out; numbers of any class.
  image = uint8 (magic (8));
  expected = miravex.median_filter (image, "radius", 2);
  for radius = {2, int8(2), uint64(2), single(2), []}
    assert (miravex.median_filter (image, radius{1}), expected);
  endfor
  ## Ranges, sparse and diagonal matrices are matrices.
  assert (miravex.image_convolve (single (image), 1:3, sparse ([1, 0, 1])),
          miravex.image_convolve (single (image), [1, 2, 3], [1, 0, 1]));
  assert (miravex.image_perspective_transformation (image, eye (3)), image);
endfunction

function memory (package, calls)
  image = uint8 (magic (4));
  repeated (image, 500);
  before = resident ();
  repeated (image, 10000);
  assert (resident () - before < 2 * 2 ^ 20);
endfunction

function repeated (image, times)
  for i = 1:times
    miravex.median_filter (image, 1);
    try
      miravex.median_filter (image, 0);
    end_try_catch
  endfor
endfunction

function bytes = resident ()
  pages = sscanf (fileread ("/proc/self/statm"), "%d");
  bytes = pages(2) * 4096;
endfunction

## An interrupt in the middle of long calls ends them, and not Octave by a crash.
function interrupt (package, calls)
  code = sprintf (["addpath ('%s'); noisy = uint8 (rand (600) * 255); disp ('started'); fflush (stdout); ", ...
                   "while (true) miravex.fast_nl_means_denoising (noisy); endwhile"], package);
  [status, text] = system (sprintf ("timeout --signal=INT --kill-after=60 4 %s --norc --quiet --no-gui --eval \"%s\" 2>&1", ...
                                    fullfile (matlabroot (), "bin", "octave-cli"), code));
  assert (! isempty (strfind (text, "started")), "%s", text);
  ## 124: ended by the interrupt; 137 would be by force, 139 a crash.
  assert (status == 124, "ended with %d: %s", status, text);
endfunction

function reloading (package, calls)
  image = uint8 (magic (4));
  expected = miravex.median_filter (image, 1);
  clear ("-functions");
  addpath (package);
  assert (miravex.median_filter (image, 1), expected);
  rmpath (package);
  addpath (package);
  assert (miravex.median_filter (image, 1), expected);
endfunction

## The transcript in the documentation is what Octave says today.
function documents (package, calls)
  place = fullfile (fileparts (mfilename ("fullpath")), "..", "..", "..", "docs", "kernels");
  assert (isequal (transcript (fullfile (place, "octave.m")), fileread (fullfile (place, "octave.txt"))), ...
          "docs/kernels/octave.txt is old");
endfunction

function expect_error (id, words, call)
  try
    call ();
  catch thrown
    assert (strcmp (thrown.identifier, id), "%s: %s", thrown.identifier, thrown.message);
    assert (! isempty (strfind (thrown.message, words)), "%s", thrown.message);
    return;
  end_try_catch
  error ("%s was accepted", func2str (call));
endfunction
