## -*- texinfo -*-
## @deftypefn {} {[@var{batch}, @var{report}] =} miravex.load_images (@var{paths})
## @deftypefnx {} {[@var{batch}, @var{report}] =} miravex.load_images (@dots{}, @var{name}, @var{value}, @dots{})
## Loads many image files at once into one single array of rows x columns x channels x files.
##
## @var{paths} is a cell of file names. Names and values:
##
## @table @asis
## @item @code{"size"}
## rows and columns that every picture is scaled to; [224, 224] by default
## @item @code{"color"}
## "RGB" (default), "XYZ", "LAB", "LUV" or "Grayscale", which has one channel
## @item @code{"mean"}, @code{"std"}
## what samples, from 0 to 1, are reduced and divided by: nothing, a number, or one per channel
## @item @code{"on_error"}
## what becomes of files that can't be read: "fill" (default) leaves noise in their slots, "skip" leaves them out,
## "stop" ends the batch
## @end table
##
## @var{report} tells which files @code{failed} (positions in @var{paths}), the @code{reasons}, and in
## @code{batch} how many files were looked at and slots filled.
##
## @example
## batch = miravex.load_images (@{"one.jpg", "two.png"@}, "size", [160, 200]);
## @end example
## @end deftypefn

function [batch, report] = load_images (paths, varargin)
  if (nargin < 1)
    print_usage ();
  endif
  options = struct ("color", "RGB", "mean", [], "std", [], "on_error", "fill", "height", 224, "width", 224);
  if (mod (numel (varargin), 2) != 0)
    error ("miravex:argument", "load_images: expected arguments by name and value after the first 1");
  endif
  for i = 1:2:numel (varargin)
    name = varargin{i};
    value = varargin{i + 1};
    if (strcmp (name, "size") && isnumeric (value) && numel (value) == 2)
      options.height = value(1);
      options.width = value(2);
    elseif (any (strcmp (name, {"color", "mean", "std"})))
      options.(name) = value;
    elseif (strcmp (name, "on_error") && any (strcmp (value, {"fill", "skip", "stop"})))
      options.on_error = value;
    else
      error ("miravex:argument", ...
             ["load_images: unknown name or value, expected size to be [rows, columns], color, mean, std, ", ...
              "on_error to be fill, skip or stop"]);
    endif
  endfor
  [slots, report] = __miravex__ (cellstr (paths), options);
  batch = permute (slots(:, :, :, 1:report.batch.slots), [2, 1, 3, 4]);
endfunction

%!error <height and width must be at least 1> miravex.load_images ({}, "size", [0, 5])
%!error <unknown name or value> miravex.load_images ({}, "colour", "RGB")
%!test
%! [batch, report] = miravex.load_images ({"/no/such/file.png"}, "size", [2, 3], "on_error", "skip");
%! assert (size (batch), [2, 3, 3, 0]);
%! assert (report.failed, 1);
%! assert (report.reasons, "/no/such/file.png: missing");
