## -*- texinfo -*-
## @deftypefn {} {} miravex.demo ()
## @deftypefnx {} {} miravex.demo (@var{folder})
## A tour in figures: a picture is made, blurred by a median, searched for its outlines and corners, and seen in
## motion. With @var{folder}, the figures are saved there as PNG files instead of being shown.
## @end deftypefn

function demo (folder = "")
  [x, y] = meshgrid (1:240, 1:180);
  scene = uint8 (60 + 40 * sin (x / 17) .* cos (y / 23));
  scene((x - 70) .^ 2 + (y - 60) .^ 2 < 35 ^ 2) = 220;
  scene(100:150, 130:210) = 30;
  noisy = scene;
  noisy(rand (size (scene)) < 0.05) = 255;

  figures = {};
  figures{end + 1} = shown (folder, noisy, "A noisy picture");
  figures{end + 1} = shown (folder, miravex.median_filter (noisy, 2), "Its median of 5 x 5");

  outlines = miravex.find_contours (uint8 (scene > 150) * 255);
  figures{end + 1} = shown (folder, scene, "Outlines and corners");
  hold on;
  for i = 1:numel (outlines.points)
    points = outlines.points{i}([1:end, 1], :);
    plot (points(:, 1), points(:, 2), "r", "linewidth", 2);
  endfor
  corners = miravex.fast (scene, "threshold", 30);
  plot (corners.x, corners.y, "g+");
  hold off;

  flow = miravex.optical_flow_farneback (cat (4, scene, circshift (scene, [3, 5])));
  figures{end + 1} = shown (folder, scene, "What moved: down by 3, right by 5");
  hold on;
  places = 8:16:168;
  [columns, rows] = meshgrid (8:16:232, places);
  quiver (columns, rows, flow.u(places, 8:16:232), flow.v(places, 8:16:232), "y");
  hold off;

  if (! isempty (folder))
    device = "-dpng";
    if (strcmp (graphics_toolkit (), "gnuplot"))
      device = "-dpngcairo"; # which needs no Ghostscript
    endif
    for i = 1:numel (figures)
      print (figures{i}, fullfile (folder, sprintf ("demo-%d.png", i)), device);
      close (figures{i});
    endfor
  endif
endfunction

function handle = shown (folder, picture, words)
  visible = "on";
  if (! isempty (folder))
    visible = "off";
  endif
  handle = figure ("visible", visible);
  imagesc (picture);
  colormap (gray (256));
  axis image;
  title (words);
endfunction

%!testif ; ! isempty (available_graphics_toolkits ())
%! folder = tempname ();
%! mkdir (folder);
%! miravex.demo (folder);
%! files = dir (fullfile (folder, "*.png"));
%! assert (numel (files), 4);
%! confirm_recursive_rmdir (false, "local");
%! rmdir (folder, "s");
