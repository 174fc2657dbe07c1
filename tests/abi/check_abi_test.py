"""scripts/check-abi sees every way in which an interface can break, and lets pass what is appended.

Each test alters one declaration of the installed headers and compares what comes of it with what there is.
"""

import importlib.machinery
import importlib.util
import pathlib
import re
import shutil
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
loader = importlib.machinery.SourceFileLoader("check_abi", str(ROOT / "scripts/check-abi"))
loader_spec = importlib.util.spec_from_loader("check_abi", loader)
check_abi = importlib.util.module_from_spec(loader_spec)
loader.exec_module(check_abi)
HOST, DOOR = check_abi.INTERFACES
EXPORTS = {HOST: {"opencv_Dilation", "opencv_MedianFilter"}, DOOR: set()}


class Altered(unittest.TestCase):
    def facts(self, interface, alterations=(), exports=None):
        """Of the headers after each pattern was replaced once, and of a library that exports what they declare."""
        with tempfile.TemporaryDirectory() as work:
            headers = pathlib.Path(work)
            shutil.copytree(ROOT / "include/miravex", headers / "miravex")
            header = headers / "miravex" / interface.header
            text = header.read_text()
            for pattern, replacement in alterations:
                text, times = re.subn(pattern, replacement, text, count=1)
                self.assertEqual(times, 1, f"{pattern} is not in {interface.header}")
            header.write_text(text)
            declared = set(check_abi.declarations(headers, interface))
            exported = exports or declared | EXPORTS[interface]
            return check_abi.facts_of(check_abi.dumped(headers, interface, exported, "lib.so.1"))

    unaltered = {}

    def compare(self, interface, *alterations, exports=None):
        if interface not in self.unaltered:
            self.unaltered[interface] = self.facts(interface)
        return check_abi.compared(self.unaltered[interface], self.facts(interface, alterations, exports),
                                  interface.growing)

    def assertBreaks(self, what, interface, *alterations, **options):
        breaks, _ = self.compare(interface, *alterations, **options)
        self.assertTrue(any(line.startswith(what) for line in breaks), breaks)

    def assertAppended(self, what, interface, *alterations, **options):
        breaks, appended = self.compare(interface, *alterations, **options)
        self.assertEqual(breaks, [])
        self.assertEqual([line[:len(what)] for line in appended], [what])

    def test_nothing_changed(self):
        for interface in check_abi.INTERFACES:
            self.assertEqual(self.compare(interface), ([], []))

    def test_all_that_is_declared_is_looked_at(self):
        host, door = self.facts(HOST), self.facts(DOOR)
        for what in ("function KorvaneLibrary_initialize", "function opencv_Dilation", "structure ImageServices",
                     "structure ValueCell", "enumerator PixelTypeReal", "type HostBoolean"):
            self.assertIn(what, host)
        for what in ("function mvx_load_images", "structure mvx_samples", "enumerator MVX_STOP"):
            self.assertIn(what, door)
        self.assertEqual(host["function opencv_Dilation"],
                         "HostErrorCode (LibraryData, int64_t, ArgumentSlot*, ArgumentSlot)")
        self.assertEqual(len(host["structure LibraryDataTable"]), 11)

    # Tables that hosts fill grow at their end alone.
    last = (r"(const NumericArrayServices\* numericArrayServices;)", r"\1 int (*extra)(int);")

    def test_a_member_at_the_end_is_appended(self):
        self.assertAppended("structure LibraryDataTable has more members: int (int)* extra at bit 704", HOST, self.last)

    def test_a_member_inserted(self):
        self.assertBreaks("structure LibraryDataTable was", HOST,
                          (r"(void \(\*tensorFree\))", r"int (*extra)(int); \1"))

    def test_a_member_removed(self):
        self.assertBreaks("structure ImageServices was", HOST,
                          (r"float\* \(\*imageGetReal32Data\)\(KImage image\);", ""))

    def test_members_swapped_of_one_type(self):
        self.assertBreaks("structure ImageServices was", HOST, (r"imageGetRowCount", "swapped"),
                          (r"imageGetColumnCount", "imageGetRowCount"), (r"swapped", "imageGetColumnCount"))

    def test_a_member_of_another_type_behind_an_appended_one(self):
        self.assertBreaks("structure LibraryDataTable was", HOST, self.last,
                          (r"\(\*tensorGetRank\)\(KTensor tensor\)", "(*tensorGetRank)(KTensor tensor, int axis)"))

    def test_a_service_s_argument_of_another_size(self):
        self.assertBreaks("structure ImageServices was", HOST,
                          (r"imageNew3D\)\(int64_t slices", "imageNew3D)(int32_t slices"))

    def test_a_value_s_other_member(self):
        self.assertBreaks("structure ValueCell was", HOST, (r"HostBoolean boolean;", "int64_t boolean;"))

    def test_a_name_for_another_type(self):
        self.assertBreaks("type HostBoolean was", HOST, (r"typedef int32_t HostBoolean", "typedef int64_t HostBoolean"))

    def test_an_enumerator_of_another_value(self):
        self.assertBreaks("enumerator StatusFunctionError was", HOST,
                          (r"StatusFunctionError = 6", "StatusFunctionError = 7"))

    def test_an_enumerator_appended(self):
        self.assertAppended("enumerator PixelTypeReal16 is new", HOST,
                            (r"PixelTypeReal = 4", "PixelTypeReal = 4, PixelTypeReal16 = 5"))

    def test_a_function_s_further_argument(self):
        self.assertBreaks("function KorvaneLibrary_initialize was", HOST,
                          (r"_initialize\(LibraryData data\)", "_initialize(LibraryData data, int way)"))

    def test_an_operation_that_is_gone(self):
        kept = set(check_abi.declarations(ROOT / "include", HOST)) | {"opencv_Dilation"}
        self.assertBreaks("function opencv_MedianFilter is gone", HOST, exports=kept)

    def test_an_operation_more(self):
        more = set(check_abi.declarations(ROOT / "include", HOST)) | EXPORTS[HOST] | {"opencv_New"}
        self.assertAppended("function opencv_New is new", HOST, exports=more)

    # Callers of the flat door make its structures: not one of them may grow.
    def test_the_door_s_structures_do_not_grow(self):
        self.assertBreaks("structure mvx_samples was", DOOR,
                          (r"int64_t step\[4\];\n\} mvx_samples", "int64_t step[4]; int more;\n} mvx_samples"))

    def test_a_function_of_the_door_removed(self):
        self.assertBreaks("function mvx_notes is gone", DOOR,
                          (r"MVX_PUBLIC const char\* mvx_notes\(const mvx_call\* call\);", ""))

    def test_a_function_of_the_door_appended(self):
        self.assertAppended("function mvx_more is new", DOOR,
                            (r"(MVX_PUBLIC int mvx_version\(void\);)", r"\1 MVX_PUBLIC int mvx_more(void);"))

    def test_a_result_of_another_type(self):
        self.assertBreaks("function mvx_parts was", DOOR, (r"int mvx_parts\(", "int64_t mvx_parts("))

    def test_constness_counts(self):
        self.assertBreaks("function mvx_copy was", DOOR,
                          (r"mvx_copy\(const mvx_call\* call, const mvx_samples", "mvx_copy(const mvx_call* call, mvx_samples"))

    def test_header_and_library_that_disagree(self):
        with self.assertRaisesRegex(SystemExit, "does not export what miravex_host.h declares: .*mvx_end"):
            self.facts(DOOR, exports={"mvx_begin"})
        with self.assertRaisesRegex(SystemExit, "exports what miravex_host.h does not declare: mvx_secret"):
            self.facts(DOOR, exports=set(check_abi.declarations(ROOT / "include", DOOR)) | {"mvx_secret"})


class Operations(unittest.TestCase):
    old = "# The list\nFast(image, integer) -> reals : fast\nHue(image) -> image : hue\n"

    def compare(self, new):
        return check_abi.compared(check_abi.facts_of_operations(self.old), check_abi.facts_of_operations(new))

    def test_one_more(self):
        self.assertEqual(self.compare(self.old + "Tint(image) -> image : tint\n"), ([], ["operation Tint is new"]))

    def test_another_argument(self):
        self.assertEqual(self.compare(self.old.replace("image, integer", "image, real"))[0][0][:20],
                         "operation Fast was: ")

    def test_one_less(self):
        self.assertEqual(self.compare(self.old.split("Hue")[0]), (["operation Hue is gone"], []))


if __name__ == "__main__":
    unittest.main()
