"""What operations are for: the tasks of the page "Which operation do I need?", each with its operations by name.

The page takes everything else it says from the records; a test holds that every operation has a task.
"""

from __future__ import annotations

from typing import NamedTuple


class Task(NamedTuple):
    title: str
    about: str
    operations: tuple[str, ...]


TASKS = (
    Task(
        "Remove noise",
        "Medians take out specks. Non-local means suit the grain of a sensor; with several frames of one scene they do "
        "better. Where edges matter more than grain, smooth between them.",
        (
            "median_filter",
            "fast_nl_means_denoising",
            "fast_nl_means_denoising_colored",
            "fast_nl_means_denoising_multi",
            "fast_nl_means_denoising_colored_multi",
            "edge_preserving_filter",
            "pyr_mean_shift_filter",
        ),
    ),
    Task(
        "Filter, sharpen and stylize",
        "One pixel from its neighbourhood, or a whole picture in another manner.",
        ("image_convolve", "dilation", "detail_enhance", "stylization", "color_boost", "decolor", "image_demosaic"),
    ),
    Task(
        "Change size and shape",
        "Halve and double, add a border, warp by a matrix or by a table of positions, turn circles into rows.",
        (
            "pyr_down",
            "pyr_up",
            "super_resolution",
            "image_pad",
            "image_perspective_transformation",
            "remap_tensor",
            "log_polar_remap",
            "log_polar_cv",
        ),
    ),
    Task(
        "Align and follow motion",
        "One shift for the whole picture, frames of a bracket onto one another, or the motion of every pixel.",
        ("phase_correlate", "align_mtb", "optical_flow_farneback", "optical_flow_dual_tvl1"),
    ),
    Task(
        "Bring exposures together",
        "Measure how a camera responds, merge a bracket into radiances, and bring them to a display; or fuse the bracket "
        "at once, which needs no exposure times.",
        ("calibrate_debevec", "calibrate_robertson", "merge_debevec", "merge_robertson", "merge_mertens", "tonemap"),
    ),
    Task(
        "Find things",
        "Faces, lines, circles, a small picture within a larger one, writing on a page that is lit unevenly.",
        (
            "face_detection",
            "face_detection_dnn",
            "hough_lines",
            "hough_lines_p",
            "line_segment_detector",
            "hough_circles",
            "image_correlate",
            "local_adaptive_binarize",
        ),
    ),
    Task(
        "Recognize the same place again",
        "Corners are quick to find. Keypoints with descriptors are found again in other views, where the matcher pairs them.",
        ("fast", "agast", "orb", "brisk", "akaze", "kaze", "descriptor_matcher"),
    ),
    Task(
        "Count and measure",
        "Outlines and regions to count, shapes to compare, and the distance between two distributions.",
        (
            "find_contours",
            "mser_detect",
            "match_shapes",
            "earth_mover_distance",
            "earth_mover_distance_flow_matrix",
            "earth_mover_distance_weights_flow_matrix",
        ),
    ),
    Task(
        "Load many pictures",
        "Files of any number into one array, resized and normalized.",
        ("load_images_from_path_into",),
    ),
)
