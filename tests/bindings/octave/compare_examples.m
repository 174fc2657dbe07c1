## Makes the calls of a file that example_calls wrote and compares each result, byte for byte. Gives the functions
## that were called, and how many examples could not be had.

function [tried, skipped] = compare_examples (file)
  tried = {};
  skipped = -1;
  lines = strsplit (strtrim (fileread (file)), "\n");
  for i = 1:numel (lines)
    words = strsplit (lines{i}, " ");
    switch (words{1})
      case "call"
        name = words{2};
        given = {};
        positions = words{3};
        colors = {};
        expected = struct ();
      case "image"
        given(end + 1:end + 2) = {words{2}, read_image(words(3:7), words{end})};
        colors{end + 1} = words{8};
      case "numbers"
        given(end + 1:end + 2) = {words{2}, read_numbers(words(3:end))};
      case "number"
        given(end + 1:end + 2) = {words{2}, str2double(words{3})};
      case "text"
        given(end + 1:end + 2) = {words{2}, strjoin(words(3:end), " ")};
      case "batch"
        paths = strsplit (strtrim (fileread (words{6})), "\n");
        given = {paths, "size", [str2double(words{2}), str2double(words{3})], "color", words{4}};
      case "is"
        expected = add_result (expected, words);
      case "end"
        same_result (name, called (name, given, positions, colors), expected);
        tried{end + 1} = name;
      case "calls"
        assert (numel (tried), str2double (words{2}));
        skipped = str2double (words{4});
    endswitch
  endfor
  assert (skipped >= 0, "the file of calls is cut short");
endfunction

function result = called (name, given, positions, colors)
  ## Usual colour spaces need no name; others are the same for all images of a call here.
  if (any (strcmp (colors, "unspecified")))
    given(end + 1:end + 2) = {"colorspace", "unspecified"};
  endif
  if (strcmp (name, "load_images"))
    result = miravex.load_images (given{:});
    return;
  endif
  result = miravex.(name) (given{:}, "positions", positions);
endfunction

function image = read_image (words, file)
  classes = struct ("bit", "uint8", "byte", "uint8", "bit16", "uint16", "real32", "single", "real", "double");
  class = classes.(words{1});
  sizes = cellfun (@str2double, words(2:5));
  sizes(4) = max (sizes(4), 1);
  image = reshape (read_file (file, class), sizes);
  if (strcmp (words{1}, "bit"))
    image = logical (image);
  endif
endfunction

function numbers = read_numbers (words)
  sizes = cellfun (@str2double, words(2:end - 1));
  numbers = reshape (read_file (words{end}, "double"), [sizes, 1, 1](1:max (numel (sizes), 2)));
endfunction

function elements = read_file (file, class)
  stream = fopen (file, "r");
  elements = fread (stream, Inf, [class "=>" class]);
  fclose (stream);
endfunction

function expected = add_result (expected, words)
  switch (words{2})
    case "image"
      expected.image = read_image (words(3:7), words{end});
    case "real"
      expected.real = str2double (words{3});
    otherwise
      group = strrep (words{3}, "-", "_");
      expected.parts.(group).(strrep (words{4}, "-", "_")) = read_numbers (words(5:end));
  endswitch
endfunction

function same_result (name, result, expected)
  if (isfield (expected, "image"))
    assert (strcmp (class (result), class (expected.image)), "%s gave %s", name, class (result));
    same (name, result, expected.image);
  elseif (isfield (expected, "real"))
    same (name, result, expected.real);
  elseif (isfield (expected.parts, "contours"))
    same_contours (name, result, expected.parts);
  else
    same_parts (name, result, expected.parts);
  endif
endfunction

function same_parts (name, result, parts)
  groups = fieldnames (parts);
  for i = 1:numel (groups)
    group = parts.(groups{i});
    found = result;
    if (numel (groups) > 1)
      found = result.(groups{i});
    endif
    if (isfield (group, groups{i}))
      same (name, found, group.(groups{i}));
    else
      assert (isequal (fieldnames (found), fieldnames (group)), "%s has other columns", name);
      cellfun (@(column) same (name, found.(column), group.(column)), fieldnames (group));
    endif
  endfor
endfunction

function same_contours (name, result, parts)
  assert (! isempty (parts.contours.length));
  if (isfield (parts, "points"))
    same (name, cellfun (@rows, result.points), parts.contours.length);
    same (name, vertcat (result.points{:}), [parts.points.x, parts.points.y]);
    for neighbour = {"next", "previous", "first_child", "parent"}
      same (name, result.(neighbour{1}), parts.contours.(neighbour{1}));
    endfor
  else
    same (name, cellfun (@rows, result.codes), parts.contours.length);
    same (name, vertcat (result.codes{:}), parts.codes.code);
  endif
endfunction

function same (name, found, expected)
  assert (isequal (size (found), size (expected)), "%s: %s instead of %s", name, mat2str (size (found)), ...
          mat2str (size (expected)));
  if (isfloat (expected))
    ## Bits, so that one NaN is not another and 0 is not -0.
    found = typecast (found(:), "uint8");
    expected = typecast (expected(:), "uint8");
  endif
  assert (isequal (found, expected), "%s: another result", name);
endfunction
