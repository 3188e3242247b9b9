import os
import subprocess

from tirnvision import _core

INSPECT = os.environ["TIRN_INSPECT"]


def inspect(*args):
    return subprocess.run([INSPECT, *args], check=True, capture_output=True, text=True).stdout


def test_a_class_prints_every_prototype_with_export_types_defaults_and_depths():
    assert inspect("CSobelFilter") == """\
CSobelFilter: Sobel edge filter of the selected channels
Depths accepted: 8 16 32

Prototypes:
  CSobelFilter(int iDepth = 32, int iWidth=3,int iDirection = 0)
      export      CSobelFilter_0_CSobelFilter
      parameters  1  int iDepth = 32         depth of the images
                  2  int iWidth = 3          mask side
                  3  int iDirection = 0      direction
  ~CSobelFilter(void)
      export      CSobelFilter_0_FREE_CSobelFilter
  void setInput(class CImage)
      export      CSobelFilter_0_setInput
      purpose     Sets the input image, which the filter keeps and reads at exec
      returns     void
      parameters  1  class CImage            input image, of the filter's depth
  void setOutput(class CImage)
      export      CSobelFilter_0_setOutput
      purpose     Sets the output image, which exec fills
      returns     void
      parameters  1  class CImage            output image, of the filter's depth
  void setNeighborhood(int)
      export      CSobelFilter_0_setNeighborhood
      purpose     Sets the mask side
      returns     void
      parameters  1  int
  void exec()
      export      CSobelFilter_0_exec
      purpose     Runs the filter
      returns     void
  void setDirection(int iDir=0)
      export      CSobelFilter_0_setDirection
      purpose     Sets the direction and rebuilds the mask
      returns     void
      parameters  1  int iDir = 0
  int selectChannel(char*)
      export      CSobelFilter_0_selectChannel
      purpose     Selects channels of the input by a pattern of X (selected) and other symbols; 1 on success, 0 on failure
      returns     int
      parameters  1  char*                   selection pattern
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
    assert out.endswith("\n20 classes, 4 functions\n")
    run = subprocess.run([INSPECT, "CGauss"], capture_output=True, text=True)
    assert run.returncode == 1
    assert run.stderr.startswith("tirn-inspect: no class or function CGauss; classes: CImage ")
