"""Type stubs of the generated functions on Dask. Written by python -m miravex._stubs; not edited by hand."""

import os
from collections.abc import Mapping
from typing import Any, Literal

#: Dask says little about its types: pictures and lists are its arrays, NumPy's, or lists of delayed values, and
#: results an array, a delayed value, or for a stack a list of them.
Image = Any
Array = Any
ArrayLike = Any
Path = str | bytes | os.PathLike[str] | os.PathLike[bytes]
ColorSpace = Literal["gray", "RGB", "unspecified"] | int

__all__ = [
    "agast",
    "akaze",
    "align_mtb",
    "brisk",
    "calibrate_debevec",
    "calibrate_robertson",
    "color_boost",
    "decolor",
    "descriptor_matcher",
    "detail_enhance",
    "dilation",
    "earth_mover_distance",
    "earth_mover_distance_flow_matrix",
    "earth_mover_distance_weights_flow_matrix",
    "edge_preserving_filter",
    "face_detection",
    "face_detection_dnn",
    "fast",
    "fast_nl_means_denoising",
    "fast_nl_means_denoising_colored",
    "fast_nl_means_denoising_colored_multi",
    "fast_nl_means_denoising_multi",
    "find_contours",
    "hough_circles",
    "hough_lines",
    "hough_lines_p",
    "image_convolve",
    "image_correlate",
    "image_demosaic",
    "image_pad",
    "image_perspective_transformation",
    "kaze",
    "line_segment_detector",
    "load_images_from_path_into",
    "local_adaptive_binarize",
    "log_polar_cv",
    "log_polar_remap",
    "match_shapes",
    "median_filter",
    "merge_debevec",
    "merge_mertens",
    "merge_robertson",
    "mser_detect",
    "optical_flow_dual_tvl1",
    "optical_flow_farneback",
    "orb",
    "phase_correlate",
    "pyr_down",
    "pyr_mean_shift_filter",
    "pyr_up",
    "remap_tensor",
    "stylization",
    "super_resolution",
    "tonemap",
]

def agast(
    image: Image,
    mask: Image | None = None,
    threshold: int = 20,
    nonmax_suppression: bool = True,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds corners by the adaptive accelerated segment test."""

def akaze(
    image: Image,
    mask: Image | None = None,
    mode: Literal["detect", "compute", "detectAndCompute"] = 'detect',
    threshold: float = 0.001,
    n_octaves: int = 4,
    n_octave_layers: int = 4,
    diffusivity: Literal["DIFF_PM_G1", "DIFF_PM_G2", "DIFF_WEICKERT", "DIFF_CHARBONNIER"] = 'DIFF_PM_G2',
    descriptor_type: Literal["DESCRIPTOR_KAZE_UPRIGHT", "DESCRIPTOR_KAZE", "DESCRIPTOR_MLDB_UPRIGHT", "DESCRIPTOR_MLDB"] = 'DESCRIPTOR_MLDB',
    descriptor_size: int = 0,
    descriptor_channels: int = 3,
    keypoints: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds and describes keypoints in an accelerated nonlinear scale space."""

def align_mtb(
    frames: Image,
    levels: int | None = None,
    excluded_range: int = 4,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Shifts the frames of an exposure bracket onto one another."""

def brisk(
    image: Image,
    mask: Image | None = None,
    mode: Literal["detect", "compute", "detectAndCompute"] = 'detect',
    threshold: int = 30,
    octaves: int = 3,
    pattern_scale: float = 1.0,
    keypoints: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds and describes keypoints by rings of brightness comparisons."""

def calibrate_debevec(
    frames: Image,
    exposures: ArrayLike,
    samples: int = 70,
    lambda_: float = 10.0,
    random: bool = False,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Estimates a camera's response curve from a bracket by least squares over sampled pixels."""

def calibrate_robertson(
    frames: Image,
    exposures: ArrayLike,
    max_iterations: int = 30,
    threshold: float = 0.01,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Estimates a camera's response curve from all pixels of a bracket, iteratively."""

def color_boost(
    image: Image,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Boosts the colours of a picture along with its contrasts."""

def decolor(
    image: Image,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Makes a gray picture that keeps the contrasts of the colours."""

def descriptor_matcher(
    query: ArrayLike,
    train: ArrayLike,
    mask: ArrayLike | None = None,
    matcher: Literal["BruteForce", "BruteForce-L1", "BruteForce-Hamming", "BruteForce-Hamming(2)", "FlannBased"] = 'BruteForce',
    mode: Literal["Best Match", "Radius Match"] = 'Best Match',
    parameter: float = 1.0,
    *,
    stack: bool | None = None,
) -> Any:
    """Matches descriptors of one set with those of another."""

def detail_enhance(
    image: Image,
    spatial_sigma: float = 10.0,
    range_sigma: float = 0.15,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Strengthens the detail of a picture."""

def dilation(
    image: Image,
    radius: int = 2,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Replaces every pixel by the maximum of a square around it."""

def earth_mover_distance(
    points1: ArrayLike,
    weights1: ArrayLike,
    points2: ArrayLike,
    weights2: ArrayLike,
    distance: Literal["ManhattanDistance", "EuclideanDistance", "ChessboardDistance", "Custom"] = 'EuclideanDistance',
    cost: ArrayLike | None = None,
    *,
    stack: bool | None = None,
) -> Any:
    """The least cost of turning one weighted set of points into another."""

def earth_mover_distance_flow_matrix(
    points1: ArrayLike,
    weights1: ArrayLike,
    points2: ArrayLike,
    weights2: ArrayLike,
    distance: Literal["ManhattanDistance", "EuclideanDistance", "ChessboardDistance", "Custom"] = 'EuclideanDistance',
    cost: ArrayLike | None = None,
    *,
    stack: bool | None = None,
) -> Any:
    """The flow of mass that turns one weighted set of points into another at the least cost."""

def earth_mover_distance_weights_flow_matrix(
    weights1: ArrayLike,
    weights2: ArrayLike,
    cost: ArrayLike,
    *,
    stack: bool | None = None,
) -> Any:
    """The flow of mass between two lists of weights at the least of given costs."""

def edge_preserving_filter(
    image: Image,
    filter: Literal["RECURS_FILTER", "NORMCONV_FILTER"] = 'RECURS_FILTER',
    spatial_sigma: float = 60.0,
    range_sigma: float = 0.4,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Smooths a picture while it keeps its edges."""

def face_detection(
    image: Image,
    cascade: Path,
    min_width: int = 0,
    min_height: int = 0,
    max_width: int | None = None,
    max_height: int | None = None,
    min_neighbors: int = 3,
    scale_factor: float = 1.1,
    equalize: int = 0,
    target_size: int = -1,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds faces with a boosted cascade."""

def face_detection_dnn(
    image: Image,
    description: Path,
    weights: Path,
    threshold: float = 0.5,
    alternative_mean: int = 0,
    size_ratio: int = 1,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds faces with a single-shot detector network."""

def fast(
    image: Image,
    mask: Image | None = None,
    threshold: int = 20,
    nonmax_suppression: bool = True,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds corners by the segment test."""

def fast_nl_means_denoising(
    image: Image,
    strength: float = 10.0,
    template_window: int = 7,
    search_window: int = 21,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Removes noise by averaging pixels whose surroundings look alike."""

def fast_nl_means_denoising_colored(
    image: Image,
    strength: float = 10.0,
    color_strength: float = 10.0,
    template_window: int = 7,
    search_window: int = 21,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Removes noise from lightness and colour apart, each with its own strength."""

def fast_nl_means_denoising_colored_multi(
    frames: Image,
    frame: int | None = None,
    temporal_window: int = 3,
    strength: float = 10.0,
    color_strength: float = 10.0,
    template_window: int = 7,
    search_window: int = 21,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Removes noise from lightness and colour of one frame with the help of the frames around it."""

def fast_nl_means_denoising_multi(
    frames: Image,
    frame: int | None = None,
    temporal_window: int = 3,
    strength: float = 10.0,
    template_window: int = 7,
    search_window: int = 21,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Removes noise from one frame with the help of the frames around it."""

def find_contours(
    image: Image,
    mode: Literal["External", "List", "CComp", "Tree", "FloodFill"] = 'Tree',
    method: Literal["None", "Simple", "TC89_L1", "TC89_KCOS"] = 'Simple',
    chain_code: bool = False,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Traces the borders of regions of nonzero pixels."""

def hough_circles(
    image: Image,
    dp: float = 1.0,
    min_dist: float | None = None,
    param1: float = 300.0,
    param2: float = 30.0,
    min_radius: int = 0,
    max_radius: int = 0,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds circles by the gradients of their edges."""

def hough_lines(
    image: Image,
    rho: float = 1.0,
    theta: float = 0.017453292519943295,
    threshold: int = 100,
    srn: float = 0.0,
    stn: float = 0.0,
    form: Literal["Coordinates", "Equation"] = 'Coordinates',
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds straight lines among the nonzero pixels."""

def hough_lines_p(
    image: Image,
    rho: float = 1.0,
    theta: float = 0.017453292519943295,
    threshold: int = 50,
    min_line_length: float = 30.0,
    max_line_gap: float = 5.0,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds line segments among the nonzero pixels by random sampling."""

def image_convolve(
    image: Image,
    horizontal: ArrayLike,
    vertical: ArrayLike,
    padding: Literal["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Reflected',
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    inplace: bool = False,
    stack: bool | None = None,
) -> Any:
    """Convolves a picture with a separable kernel."""

def image_correlate(
    image: Image,
    kernel: Image,
    distance: Literal["SquaredEuclideanDistance", "CosineDistance", "CorrelationDistance", "Dot"] = 'CorrelationDistance',
    padding: Literal["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Fixed',
    padding_value: float = 0.0,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Compares a small picture with every place of a larger one."""

def image_demosaic(
    image: Image,
    pattern: Literal["RGGB", "GBRG", "GRBG", "BGGR"] = 'RGGB',
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Makes a colour picture of a Bayer mosaic."""

def image_pad(
    image: Image,
    top: int = 16,
    bottom: int = 16,
    left: int = 16,
    right: int = 16,
    padding: Literal["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Reflected',
    values: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Adds rows and columns around a picture."""

def image_perspective_transformation(
    image: Image,
    homography: ArrayLike,
    interpolation: Literal["Nearest", "Linear"] = 'Linear',
    padding: Literal["Constant", "Fixed"] = 'Constant',
    color: ArrayLike = (0.0, 0.0, 0.0),
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    inplace: bool = False,
    stack: bool | None = None,
) -> Any:
    """Warps a picture by a homography."""

def kaze(
    image: Image,
    mask: Image | None = None,
    mode: Literal["detect", "compute", "detectAndCompute"] = 'detect',
    threshold: float = 0.001,
    n_octaves: int = 4,
    n_octave_layers: int = 4,
    diffusivity: Literal["DIFF_PM_G1", "DIFF_PM_G2", "DIFF_WEICKERT", "DIFF_CHARBONNIER"] = 'DIFF_PM_G2',
    extended: bool = False,
    upright: bool = False,
    keypoints: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds and describes keypoints in a nonlinear scale space."""

def line_segment_detector(
    image: Image,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds line segments by growing regions of like gradients."""

def load_images_from_path_into(
    destination: Array,
    paths: str,
    lengths: ArrayLike,
    color_space: Literal["RGB", "XYZ", "LAB", "LUV", "Grayscale"] = 'RGB',
    mean: ArrayLike | None = None,
    rstddev: ArrayLike | None = None,
    stripes: int = 0,
    channels_last: int = 1,
    *,
    stack: bool | None = None,
) -> Any:
    """Loads image files in parallel into one float array, resized and normalised."""

def local_adaptive_binarize(
    image: Image,
    coefficients: ArrayLike,
    radius: int = 15,
    padding: Literal["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Reflected',
    padding_value: float = 0.0,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Separates dark from light by the mean and deviation of each pixel's neighbourhood."""

def log_polar_cv(
    image: Image,
    center: ArrayLike | None = None,
    magnitude: float | None = None,
    interpolation: Literal["Nearest", "Linear", "Cubic", "Area", "Lanczos4"] = 'Linear',
    fill_outliers: bool = True,
    inverse: bool = False,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Transforms a picture to log-polar form or back, as OpenCV does."""

def log_polar_remap(
    image: Image,
    center: ArrayLike | None = None,
    magnitude: float | None = None,
    interpolation: Literal["Nearest", "Linear", "Cubic", "Area", "Lanczos4"] = 'Linear',
    padding: Literal["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Constant',
    color: ArrayLike = (0.0, 0.0, 0.0),
    inverse: bool = False,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Transforms a picture to log-polar form or back, angles along the rows."""

def match_shapes(
    contour1: ArrayLike,
    contour2: ArrayLike,
    method: Literal["I1", "I2", "I3"] = 'I1',
    *,
    stack: bool | None = None,
) -> Any:
    """Compares two contours whatever their place, size and turn."""

def median_filter(
    image: Image,
    radius: int = 2,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Replaces every pixel by the median of a square around it."""

def merge_debevec(
    frames: Image,
    exposures: ArrayLike,
    response: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Merges a bracket into a picture of high dynamic range by logarithmic radiances."""

def merge_mertens(
    frames: Image,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Fuses a bracket into one displayable picture, without exposure times."""

def merge_robertson(
    frames: Image,
    exposures: ArrayLike,
    response: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Merges a bracket into a picture of high dynamic range by weighted radiances."""

def mser_detect(
    image: Image,
    delta: int = 5,
    min_area: int = 60,
    max_area: int = 14400,
    max_variation: float = 0.25,
    min_diversity: float = 0.2,
    max_evolution: int = 200,
    area_threshold: float = 1.01,
    min_margin: float = 0.003,
    edge_blur_size: int = 5,
    form: Literal["Rectangle", "LabelMatrix"] = 'Rectangle',
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds regions that stay stable while a threshold moves."""

def optical_flow_dual_tvl1(
    frames: Image,
    epsilon: float = 0.01,
    iterations: int = 10,
    lambda_: float = 0.15,
    scales: int = 5,
    tau: float = 0.25,
    theta: float = 0.3,
    warpings: int = 5,
    use_initial_flow: bool = False,
    initial_flow: ArrayLike | None = None,
    replacement: float = 0.0,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds how every pixel moves from frame to frame, by total variation; keeps edges of motion."""

def optical_flow_farneback(
    frames: Image,
    pyramid_scale: float = 0.5,
    levels: int = 5,
    window: float = 13.0,
    iterations: int = 10,
    neighbourhood: int = 5,
    sigma: float = 1.1,
    flag: Literal["Gaussian", "Standard"] = 'Standard',
    use_initial_flow: bool = False,
    initial_flow: ArrayLike | None = None,
    replacement: float = 0.0,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds how every pixel moves from frame to frame, by polynomial expansion."""

def orb(
    image: Image,
    mask: Image | None = None,
    mode: Literal["detect", "compute", "detectAndCompute"] = 'detect',
    fast_threshold: int = 20,
    n_features: int = 500,
    scale_factor: float = 1.2,
    n_levels: int = 8,
    edge_threshold: int = 31,
    wta_k: int = 2,
    score_type: Literal["HARRIS_SCORE", "FAST_SCORE"] = 'HARRIS_SCORE',
    keypoints: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Finds and describes oriented corners by pairs of brightness comparisons."""

def phase_correlate(
    first: Image,
    second: Image,
    window: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Measures by how much one picture is shifted against another."""

def pyr_down(
    image: Image,
    padding: Literal["Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Reflected',
    width: int | None = None,
    height: int | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Blurs a picture and halves its size."""

def pyr_mean_shift_filter(
    image: Image,
    spatial_radius: float = 10.0,
    color_radius: float = 0.1,
    max_level: int = 1,
    iterations: int = 5,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Flattens colours by mean-shift clustering over position and colour."""

def pyr_up(
    image: Image,
    width: int | None = None,
    height: int | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Doubles the size of a picture, smoothly."""

def remap_tensor(
    image: Image,
    x: ArrayLike,
    y: ArrayLike,
    interpolation: Literal["Nearest", "Linear", "Cubic", "Area", "Lanczos4"] = 'Linear',
    padding: Literal["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Constant',
    color: ArrayLike = (0.0, 0.0, 0.0),
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Looks every pixel up at a position of another picture."""

def stylization(
    image: Image,
    spatial_sigma: float = 60.0,
    range_sigma: float = 0.45,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Makes a photo look painted: flat areas and dark outlines."""

def super_resolution(
    film: Path,
    flow: Literal["Farneback", "DualTVL1"] = 'Farneback',
    scale: int = 2,
    *,
    stack: bool | None = None,
) -> Any:
    """Enlarges a frame of a film by what its neighbours add."""

def tonemap(
    image: Image,
    method: Literal["basic", "Durand", "Drago", "Reinhard", "Mantiuk"] = 'Drago',
    parameters: ArrayLike | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
    stack: bool | None = None,
) -> Any:
    """Maps a picture of high dynamic range to the range of a display."""
