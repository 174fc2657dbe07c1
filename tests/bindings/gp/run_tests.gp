\\ Tests of Miravex in gp itself. The environment names the script (MIRAVEX_GP), what example_calls wrote (MIRAVEX_CALLS)
\\ and this folder (MIRAVEX_PLACE). Ends gp with 1 when anything fails, and says "all passed" otherwise.

default(parisizemax, "6G");
default(debugmem, 0); \\ nothing of a stack that grows
read(getenv("MIRAVEX_GP"));
read(Str(getenv("MIRAVEX_PLACE"), "/compare_examples.gp"));

expect(holds, words) = if(!holds, error(words));

\\ Runs a closure, which must raise an error with these words.
refused(words, tries) = {
  my(said = iferr(tries(); "", E, if(errname(E) == "e_MISC", component(E, 1), Str(E))));
  expect(said != "" && #strsplit(said, words) > 1, Str("\"", said, "\" is not: ", words));
}

nine = matrix(9, 9, i, j, 9 * j + i);
noise(rows, columns) = matrix(rows, columns, i, j, random(256));
resident() = eval(strsplit(externstr("cat /proc/$PPID/statm")[1], " ")[2]) * 4096;

\\ Every record's example has the command line's result.
examples() = {
  my([functions, calls, skipped] = compare_examples(Str(getenv("MIRAVEX_CALLS"), "/calls.txt"), getenv("MIRAVEX_GP")));
  print(calls, " examples of ", #functions, " functions, ", skipped, " skipped");
  my(names = [s[1] | s <- signatures(getenv("MIRAVEX_GP"))]);
  expect(#names == 54, "there are other functions than 54");
  expect(#functions >= 54 - skipped, "functions were not tried");
}

refusals() = {
  refused("radius is 0, expected at least 1 (try 1)", () -> mvx_median_filter(nine, ["radius", 0]));
  refused("radius is 1.5, expected integer", () -> mvx_median_filter(nine, ["radius", 1.5]));
  refused("has no argument \"radios\"", () -> mvx_median_filter(nine, ["radios", 3]));
  refused("radius holds something else", () -> mvx_median_filter(nine, ["radius", [1, x]]));
  refused("radius is something else", () -> mvx_median_filter(nine, ["radius", x]));
  refused("image holds others, expected whole numbers from 0 to 255", () -> mvx_dilation(nine * 9));
  refused("image holds others", () -> mvx_dilation(-nine));
  refused("image holds others", () -> mvx_dilation(nine * 2^70));
  refused("from 0 to 65535", () -> mvx_dilation(nine * 9000, ["pixels", "bit16"]));
  refused("expected 0 and 1", () -> mvx_dilation(nine, ["pixels", "bit"]));
  refused("image holds others, expected numbers", () -> mvx_dilation(nine * x));
  refused("image is something else", () -> mvx_dilation(7));
  refused("image is something else", () -> mvx_dilation([nine, nine[1 .. 3, ]]));
  refused("image is something else", () -> mvx_dilation([]));
  refused("frames is something else", () -> mvx_align_mtb([x]));
  refused("try the option convert = usual", () -> mvx_fast(nine / 255));
  refused("padding is \"Reflect\"", () -> mvx_pyr_down(nine, ["padding", "Reflect"]));
  refused("pixels is something else", () -> mvx_dilation(nine, ["pixels", "int"]));
  refused("colorspace is something else", () -> mvx_dilation(nine, ["colorspace", 3]));
  refused("options are something else", () -> mvx_dilation(nine, ["radius"]));
  refused("options are something else", () -> mvx_dilation(nine, 1));
  refused("options are something else", () -> mvx_dilation(nine, [1, 2]));
  refused("positions to be library or matrix", () -> mvx_dilation(nine, ["positions", "top"]));
  refused("face-detection failed: ", () -> mvx_face_detection(nine, "/no/such/file.xml"));
  refused("size is something else", () -> mvx_load_images(["a"], ["size", [0, 1]]));
  refused("on_error is something else", () -> mvx_load_images(["a"], ["on_error", "cry"]));
  refused("paths holds something else", () -> mvx_load_images([1]));
}

results() = {
  \\ One bright pixel, in row 3 and column 5.
  my(image = matrix(10, 12, i, j, if(i == 3 && j == 5, 255, 0)));
  expect(mvx_find_contours(image) === [[Mat([5, 3])], Mat([0, 0, 0, 0])], "contours");
  expect(mvx_columns() == ["contour", "x", "y", "length", "next", "previous", "first_child", "parent"], "columns");
  expect(mvx_find_contours(image, ["positions", "library"])[1] === [Mat([4, 7])], "positions of the library");
  expect(#mvx_find_contours(0 * image)[1] == 0, "no contours");
  \\ Pictures come back as they went in: integers, wider ones, reals, channels.
  expect(mvx_dilation(image, ["radius", 1])[4, 4] === 255, "bytes");
  expect(mvx_dilation(300 * nine, ["radius", 1, "pixels", "bit16"])[5, 5] === 300 * nine[6, 6], "16 bits");
  expect(mvx_dilation(nine / 128, ["radius", 1])[5, 5] == nine[6, 6] / 128, "reals");
  expect(mvx_dilation([nine, 2 * nine, nine], ["radius", 1])[2] === 2 * mvx_dilation(nine, ["radius", 1]), "channels");
  expect(#mvx_align_mtb([[nine, nine, nine], [nine, nine, nine]]) == 2, "frames");
  \\ What one function finds another takes.
  my(scene = noise(150, 150), keypoints = mvx_orb(scene), described, both, matches);
  expect(mvx_columns()[1 .. 2] == ["x", "y"] && #keypoints == 7 && vecmin(keypoints[, 1]) >= 1, "keypoints");
  described = mvx_orb(scene, ["mode", "compute", "keypoints", keypoints]);
  both = mvx_orb(scene, ["mode", "detectAndCompute"]);
  expect(#both == 2 && both[1] == keypoints, "keypoints and descriptors");
  matches = mvx_descriptor_matcher(described, described, ["matcher", "BruteForce"]);
  expect(matches[, 1] == matches[, 2], "matches");
  \\ Points as a matrix and as a vector of rows; downward is positive in a flow.
  expect(mvx_earth_mover_distance([0, 0; 1, 0], [1, 2], [0, 3; 2, 3], [2, 2])
         == mvx_earth_mover_distance([[0, 0], [1, 0]], [1, 2], [[0, 3], [2, 3]], [2, 2]), "rows");
  my(smooth(d) = matrix(90, 90, i, j, round(128 + 90 * sin((i - d) / 6.) * cos(j / 7.))));
  my(flow = mvx_optical_flow_farneback([smooth(0), smooth(2)]));
  expect(#flow == 2 && abs(flow[2][1][45, 45] - 2) < 0.5, "flow");
  expect(mvx_image_perspective_transformation(nine, matid(3)) === nine, "identity");
}

loading() = {
  my(file = Str(getenv("MIRAVEX_CALLS"), "/picture.ppm"), loaded);
  system(Str("printf 'P3 2 1 255\n255 0 0  0 0 255\n' > '", file, "'"));
  loaded = mvx_load_images([file, "/no/such/file.png"], ["size", [1, 2], "on_error", "skip"]);
  expect(loaded[1] == [[Mat([1, 0]), Mat([0, 0]), Mat([0, 1])]], "samples");
  expect(loaded[2] == [2]~ && loaded[3] == "/no/such/file.png: missing", "failed files");
  expect(mvx_load_images([file], ["size", [1, 2], "mean", 0.5, "std", [2, 2, 2]])[1][1][1] == Mat([1/4, -1/4]), "mean");
}

memory() = {
  my(often(times) = for(i = 1, times, mvx_median_filter(nine, ["radius", 1]);
    iferr(mvx_median_filter(nine, ["radius", 0]), E, 0)));
  often(1000);
  my(before = resident(), heap = getheap(), stack = getstack());
  often(10000);
  expect(getheap()[1] - heap[1] < 10, "the heap has grown"); \\ the numbers above lie there
  expect(getstack() - stack < 10000, "the stack has grown");
  expect(resident() - before < 2 * 2^20, "the process has grown");
}

\\ An alarm ends a long call at once, and gp goes on.
alarms() = {
  my(noisy = noise(1000, 1000), start, whole, stopped, took);
  my(slow() = mvx_fast_nl_means_denoising(noisy, ["search_window", 111]));
  start = getwalltime(); slow(); whole = getwalltime() - start;
  start = getwalltime(); stopped = alarm(1, slow()); took = getwalltime() - start;
  expect(type(stopped) == "t_ERROR" && errname(stopped) == "e_ALARM", "the alarm was not heard");
  expect(took < 0.6 * whole, Str("it took ", took, " of ", whole, " ms"));
  expect(mvx_median_filter([1, 4, 7; 2, 5, 8; 3, 6, 9], ["radius", 1])[2, 2] == 5, "calls go on");
}

\\ So does an interrupt, in a gp of its own.
interrupts() = {
  my(lines = ["default(parisizemax, \"1G\");", "read(getenv(\"MIRAVEX_GP\"));", "noisy = matrix(1000, 1000, i, j, random(256));",
    "system(\"(sleep 0.3; kill -INT $PPID) &\");",
    "mvx_fast_nl_means_denoising(noisy, [\"search_window\", 81]); print(\"was not interrupted\");",
    "print(mvx_median_filter([1, 4, 7; 2, 5, 8; 3, 6, 9], [\"radius\", 1])[2, 2]);"]);
  my(file = Str(getenv("MIRAVEX_CALLS"), "/interrupted.gp"), said);
  system(Str("rm -f '", file, "'"));
  for(i = 1, #lines, write(file, lines[i]));
  said = externstr(Str("gp -fq < '", file, "' 2>&1"));
  expect(#strsplit(concat(said), "user interrupt") > 1 && said[#said] == "5", said);
}

\\ Functions of the package in PARI's own threads.
threads() = {
  my(pictures = vector(4, i, nine + matrix(9, 9, j, k, (i * j * k) % 50)));
  my(smooth(p) = mvx_median_filter(p, ["radius", 1]));
  expect(parapply(smooth, pictures) == apply(smooth, pictures), "threads have other results");
}

\\ Away and back again.
reloading() = {
  my(expected = mvx_median_filter(nine, ["radius", 1]));
  kill(mvx_median_filter);
  eval(externstr(Str("grep '^install(.gp_median_filter' '", getenv("MIRAVEX_GP"), "'"))[1]);
  expect(eval("mvx_median_filter(nine, [\"radius\", 1])") === expected, "another result");
}

\\ The transcript in the documentation is what gp says today.
documents() = {
  my(kept = Str(getenv("MIRAVEX_PLACE"), "/../../../docs/kernels"), said);
  said = externstr(Str("'", getenv("MIRAVEX_PLACE"), "/transcript' '", kept, "/gp.gp'"));
  expect(#said > 0 && said == externstr(Str("cat '", kept, "/gp.txt'")), "docs/kernels/gp.txt is old");
}

failures = 0;
tried(name, check) = iferr(check(); print("passed: ", name), E, failures++; print("FAILED: ", name, ": ", E));
tried("examples", examples)
tried("refusals", refusals)
tried("results", results)
tried("loading", loading)
tried("memory", memory)
tried("alarms", alarms)
tried("interrupts", interrupts)
tried("threads", threads)
tried("reloading", reloading)
tried("documents", documents)
if(!failures, print("all passed")); \\ which a file that gp could not read to its end does not say
quit(failures > 0)
