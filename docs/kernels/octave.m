image = uint8 ([10 20 30; 40 255 50; 60 70 80]);
miravex.median_filter (image, 1)
shapes = zeros (60, 80, "uint8"); shapes(11:30, 21:50) = 255;
outlines = miravex.find_contours (shapes)
outlines.points{1}
miravex.earth_mover_distance ([0 0; 1 0; 2 0], [1 2 1], [0 3; 2 3], [2 2])
miravex.median_filter (image, 0)
miravex.fast (double (shapes))
