import os
import subprocess

from tirnvision import _core

INSPECT = os.environ["TIRN_INSPECT"]


def inspect(*args):
    return subprocess.run([INSPECT, *args], check=True, capture_output=True, text=True).stdout


def test_a_class_prints_every_prototype_with_export_types_defaults_and_depths():
    assert inspect("CConvolutionFilter") == """\
CConvolutionFilter: Convolution of every channel with one generated or given square mask
Depths accepted: 8 16 32

Prototypes:
  CConvolutionFilter(int iSrcDepth=8, float*=0, int=1, int=0, float=0, float=1, int=0)
      export      CConvolutionFilter_0_CConvolutionFilter
      parameters  1  int iSrcDepth = 8       depth of the images
                  2  float* = null           external mask, kept by the filter
                  3  int = 1                 mask size
                  4  int = 0                 mask type
                  5  float = 0               orientation
                  6  float = 1               zoom
                  7  int = 0                 mask generator: 0 internal, 1 the external mask
  ~CConvolutionFilter(void)
      export      CConvolutionFilter_0_FREE_CConvolutionFilter
  void exec(class CImage, class CImage)
      export      CConvolutionFilter_0_exec
      purpose     Runs the filter
      returns     void
      parameters  1  class CImage            source image, of the filter's depth
                  2  class CImage            target image, of the filter's depth
"""


def test_every_line_of_the_image_table_is_listed_in_order_with_its_export():
    table = dict(_core.classes())["CImage"]
    out = inspect("CImage").splitlines()
    lines = [(out[i][2:], out[i + 1].split()[-1]) for i in range(len(out) - 1)
             if out[i + 1].startswith("      export ")]
    assert lines == [(p["line"], p["export"]) for p in table]
    assert len(lines) == 54  # 59 lines less the five markers
    assert "      parameters  1  float fZoom" in "\n".join(out)


def test_no_argument_lists_classes_and_functions_and_an_unknown_name_fails():
    out = inspect()
    assert "  CMeanFilter           Box mean of the selected channels\n" in out
    assert "\nUnits (folder tirnvision):\n  CImageToPins          make channels" in out
    assert out.endswith("\n20 classes, 4 functions, 6 units\n")
    run = subprocess.run([INSPECT, "CGauss"], capture_output=True, text=True)
    assert run.returncode == 1
    assert run.stderr.startswith("tirn-inspect: no class, function or unit CGauss; classes: CImage ")
    assert run.stderr.endswith("; units: CImageToPins PinsToCImage display_image HSI_RGB_Filter "
                               "ConvolutionFilter CortLayerFilter\n")


def test_a_unit_prints_its_dialogs_field_by_field():
    assert inspect("display_image") == """\
Unit tirnvision/display_image
Label: display_image

First dialog (creates the unit): Displays selected channels of an image object
  field   kind     range        default  label
  0       integer  any          10       "Position"
  1       integer  any          10       "x"
  2       integer  any          80       "Size"
  3       integer  any          80       "x"
  4       integer  1..3         3        "Depth"
  5       choice   0..1         1        "Mode": gray|rgb
  6       integer  any          1        "Zoom"
  text 0  text     -            "Image"  "Title"

Second dialog (changes it): use channel(s) for display:
  field   kind     range        default  label
  0       integer  any          0        "R"
  1       integer  any          1        "G"
  2       integer  any          2        "B"
"""
