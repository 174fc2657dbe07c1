image = [10, 20, 30; 40, 255, 50; 60, 70, 80];
mvx_median_filter(image, ["radius", 1])
shapes = matrix(60, 80, i, j, if(i > 10 && i <= 30 && j > 20 && j <= 50, 255, 0));
outlines = mvx_find_contours(shapes)
mvx_columns()
mvx_earth_mover_distance([0, 0; 1, 0; 2, 0], [1, 2, 1], [0, 3; 2, 3], [2, 2])
mvx_median_filter(image, ["radius", 0])
iferr(mvx_fast(shapes / 255.), E, component(E, 1))
