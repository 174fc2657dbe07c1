## What Octave shows for the lines of a file: each line behind a prompt, then its output.

function text = transcript (file)
  text = "";
  ## Everything that a line makes lives in this function, so that one may use what another made.
  lines__ = strsplit (strtrim (fileread (file)), "\n");
  for i__ = 1:numel (lines__)
    text = [text, ">> ", lines__{i__}, "\n"];
    try
      text = [text, evalc(lines__{i__})];
    catch thrown__
      text = [text, "error: ", thrown__.message, "\n"];
    end_try_catch
  endfor
endfunction
