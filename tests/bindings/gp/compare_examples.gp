\\ Makes the calls of a file that example_calls wrote and compares each result. Reals are compared exactly as what they
\\ stand for: GP has no negative zero, and one NaN.

\\ Unsigned numbers of `width` bytes each.
elements(file, width) = digits(eval(concat("0x1", concat(externstr(Str("od -An -v -tx", width, " '", file, \
  "' | tr -d ' \n'"))))), 256^width)[^1];

\\ IEEE numbers of `bits` bits and an exponent of `wide` bits. What precedes the fraction, the sign and the exponent, is
\\ the place in a table of what the fraction is to be multiplied by: 0 for numbers that are more than that.
reals_of(words, bits, wide) = {
  my(fraction = bits - 1 - wide, one = 2^fraction, most = 2^wide - 1, bias = 2^(wide - 1) - 1 + fraction);
  my(special(e) = e % 2^wide == 0 || e % 2^wide == most);
  my(scale(e) = if(special(e), 0, (-1)^(e > most) * 2.^(e % 2^wide - bias)));
  my(powers = vector(2^(wide + 1), e, scale(e - 1)));
  my(other(w, m) = my(sign = if(bittest(w, bits - 1), -1, 1));
    if(!bittest(w, fraction), sign * m * 2.^(1 - bias), m, "NaN", sign < 0, -oo, oo));
  my(real(w) = my(scale = powers[shift(w, -fraction) + 1], m = bitand(w, one - 1));
    if(scale, scale * (m + one), other(w, m)));
  [real(w) | w <- words];
}

numbers_of(file, type) = {
  if(type == "real32", return(reals_of(elements(file, 4), 32, 8)));
  if(type == "real", return(reals_of(elements(file, 8), 64, 11)));
  elements(file, if(type == "bit16", 2, 1));
}

\\ Columns of a matrix that were written one behind the other.
columns_of(v, rows, columns) = {
  if(columns, Mat(vector(columns, j, v[(j - 1) * rows + 1 .. j * rows]~)), matrix(rows, 0));
}

\\ A matrix, a vector of channels, a vector of frames.
read_image(words, file) = {
  my(sizes = [eval(w) | w <- words[2 .. 5]], v = numbers_of(file, words[1]), plane = sizes[1] * sizes[2]);
  my(at(k) = columns_of(v[(k - 1) * plane + 1 .. k * plane], sizes[1], sizes[2]), planes, frames);
  planes = vector(sizes[3] * max(sizes[4], 1), k, at(k));
  if(sizes[3] == 1, return(if(sizes[4], planes, planes[1])));
  frames = vector(max(sizes[4], 1), f, planes[(f - 1) * sizes[3] + 1 .. f * sizes[3]]);
  if(sizes[4], frames, frames[1]);
}

read_numbers(words) = {
  my(rank = eval(words[1]), sizes = [eval(w) | w <- words[2 .. rank + 1]], v = numbers_of(words[#words], "real"));
  if(rank == 0, return(v[1]));
  if(rank == 1, return(v~));
  if(rank == 2, return(columns_of(v, sizes[1], sizes[2])));
  my(plane = sizes[1] * sizes[2]);
  vector(sizes[3], k, columns_of(v[(k - 1) * plane + 1 .. k * plane], sizes[1], sizes[2]));
}

\\ Groups of parts, in order, as the functions give them.
parts_of(parts) = {
  my(groups = List(), names = List(), contours = 0, found = 0);
  for(i = 1, #parts, if(!#names || names[#names] != parts[i][1], listput(names, parts[i][1])));
  for(i = 1, #names, my(of = [part | part <- parts, part[1] == names[i]], group);
    group = if(of[1][1] == of[1][2], of[1][3], #Set([#part[3] | part <- of]) == 1 && type(of[1][3]) == "t_COL",
      Mat([part[3] | part <- of]), [part[3] | part <- of]);
    if(names[i] == "contours", contours = group, listput(groups, group)));
  if(contours === 0, return(if(#groups == 1, groups[1], Vec(groups))));
  my(lengths = round(contours[, 1]), start = 0);
  my(each = vector(#lengths, i, start += lengths[i]; groups[1][start - lengths[i] + 1 .. start, 2 .. -1]));
  if(#contours > 1, [each, contours[, 2 .. -1]], each);
}

\\ The same numbers in the same shapes.
same(x, y) = {
  if(type(x) == "t_STR" || type(y) == "t_STR", return(x === y));
  if(type(x) == "t_VEC" || type(x) == "t_COL" || type(x) == "t_MAT",
    if(type(x) != type(y) || #x != #y || (type(x) == "t_MAT" && matsize(x) != matsize(y)), return(0));
    if(x == y, return(1)); \\ quick where no entry is NaN
    for(i = 1, #x, if(!same(x[i], y[i]), return(0)));
    return(1));
  x == y;
}

\\ Equal as doubles, of which the second was written in decimals.
same_double(x, y) = x == y || abs(x - y) < 2.^(exponent(x) - 53);

\\ What the functions of the script take first, by their help: [name, [argument, ...]].
signatures(script) = {
  my(heads = "sed -nE 's/^addhelp.\"mvx_[a-z0-9_]+\", \"mvx_([a-z0-9_]+\\([a-z0-9_, ]*), \\{options.*/\\1/p' '");
  [[words[1], strsplit(words[2], ", ")] | words <- [strsplit(line, "(") | line <- externstr(Str(heads, script, "'"))]];
}

\\ Runs a function on what was given by name.
called(signature, given, options) = {
  my(required = signature[2]);
  for(i = 1, #given, if(!setsearch(Set(required), given[i][1]), options = concat(options, given[i])));
  values__ = [[g[2] | g <- given, g[1] == name][1] | name <- required];
  options__ = options;
  eval(Str("mvx_", signature[1], "(", concat([Str("values__[", i, "], ") | i <- [1 .. #required]]), "options__)"));
}

\\ Makes all calls of a file; those functions that were called, and how many examples could not be had.
compare_examples(file, script) = {
  my(tried = List(), skipped = -1, all = Map(Mat([[s[1], s] | s <- signatures(script)]~)));
  my(name, positions, given, types, colors, expected, parts);
  foreach(externstr(Str("cat '", file, "'")), line,
    my(words = strsplit(line, " "), kind = words[1], last = words[#words], value);
    if(kind == "call", [name, positions] = words[2 .. 3]; given = types = colors = parts = List(),
       kind == "image", listput(given, [words[2], read_image(words[3 .. 7], last)]); listput(types, words[3]);
         listput(colors, words[8]),
       kind == "numbers", listput(given, [words[2], read_numbers(words[3 .. -1])]),
       kind == "number", listput(given, [words[2], eval(words[3])]),
       kind == "text", listput(given, [words[2], strjoin(words[3 .. -1], " ")]),
       kind == "batch", listput(given, ["paths", externstr(Str("cat '", words[6], "'"))]);
         listput(given, ["size", [eval(words[2]), eval(words[3])]]); listput(given, ["color", words[4]]),
       kind == "is" && words[2] == "image", expected = read_image(words[3 .. 7], last),
       kind == "is" && words[2] == "real", expected = eval(words[3]),
       kind == "is", listput(parts, [words[3], words[4], read_numbers(words[5 .. -1])]),
       kind == "end",
         my(options = if(name == "load_images", [], ["positions", positions]), found);
         if(#Set(types) == 1, options = concat(options, ["pixels", types[1]]));
         if(setsearch(Set(colors), "unspecified"), options = concat(options, ["colorspace", "unspecified"]));
         found = called(mapget(all, name), given, options);
         if(name == "load_images", found = found[1]);
         if(#parts, expected = parts_of(parts));
         my(is_one = type(expected) == "t_REAL" || type(expected) == "t_INT");
         if(!if(is_one, same_double(found, expected), same(found, expected)), error(name, ": another result"));
         listput(tried, name),
       kind == "calls", skipped = eval(words[4]); if(#tried != eval(words[2]), error("calls are missing"))));
  if(skipped < 0, error("the file of calls is cut short"));
  [Set(tried), #tried, skipped];
}
