import gc
import os
import subprocess

import numpy as np
import pytest

import tirnvision as tv
from tirnvision import _core

# Extremes of every depth: wrap-around or rounding would show.
VALUES = {
    np.uint8: [0, 1, 127, 128, 254, 255],
    np.uint16: [0, 1, 255, 256, 65534, 65535],
    np.float32: [-1.5e30, -0.1, 0.0, 1e-7, 0.1, 3.4e38],
}
DEPTHS = {np.uint8: 8, np.uint16: 16, np.float32: 32}


def pattern(dtype, shape):
    values = np.array(VALUES[dtype], dtype=dtype)
    return values[np.arange(int(np.prod(shape))) % len(values)].reshape(shape)


@pytest.fixture(autouse=True)
def no_handle_left():
    before = _core.owned_count()
    yield
    gc.collect()
    assert _core.owned_count() == before


@pytest.mark.parametrize("dtype", list(VALUES))
@pytest.mark.parametrize("layout", ["HxW", "HxWxC", "CxHxW"])
def test_numpy_round_trip_is_exact_and_pixels_land_where_numpy_has_them(dtype, layout):
    shape, planar = {"HxW": ((5, 7), False), "HxWxC": ((5, 7, 3), False),
                     "CxHxW": ((3, 5, 7), True)}[layout]
    a = pattern(dtype, shape)
    img = tv.CImage.from_numpy(a, planar=planar)
    assert (img.depth(), img.width(), img.height()) == (DEPTHS[dtype], 7, 5)
    assert img.channels() == (1 if layout == "HxW" else 3)
    back = img.to_numpy(planar=planar)
    assert back.dtype == dtype and back.shape == a.shape
    assert back.tobytes() == a.tobytes()
    assert np.asarray(img).tobytes() == img.to_numpy().tobytes()
    # column 6, row 4, last channel
    expected = a[4, 6] if layout == "HxW" else a[4, 6, 2] if not planar else a[2, 4, 6]
    assert img.getPixel(6, 4, img.channels() - 1) == np.float32(expected)
    if layout == "HxW":
        assert img.to_numpy(planar=True).shape == (1, 5, 7)


@pytest.mark.parametrize("array, error, message", [
    (np.array([[1.9, 300.0]]), TypeError, "dtype float64 is not uint8, uint16 or float32; pass"),
    (np.zeros((2, 2), ">u2"), TypeError, "dtype >u2 is not"),
    (np.zeros((0, 4), np.uint8), ValueError, r"empty array of shape \(0, 4\)$"),
    (np.zeros((2, 3, 4, 5), np.uint8), ValueError, "4 dimensions, need 2 or 3$"),
    (np.zeros(4, np.uint8), ValueError, "1 dimensions, need 2 or 3$"),
])
def test_arrays_of_another_dtype_or_shape_are_refused(array, error, message):
    with pytest.raises(error, match="^CImage.from_numpy: " + message):
        tv.CImage.from_numpy(array)


def test_arguments_bind_as_the_host_binds_them():
    converted = tv.CImage.from_numpy(np.array([[1.9, 300.0]]), dtype=np.float32)
    assert converted.to_numpy().tolist() == [[float(np.float32(1.9)), 300.0]]
    img = tv.CImage()
    assert (img.depth(), img.width(), img.height(), img.channels()) == (32, 1, 1, 1)
    img = tv.CImage(iWidth=4, iChannels=2)  # iDepth and iHeight from the prototype
    assert (img.depth(), img.width(), img.height(), img.channels()) == (32, 4, 1, 2)
    assert tv.CImage(-1, 4, 3, 2).depth() == 8
    # clear() and clear(int) are told apart by their arguments
    img.setPixel(1, 0, 1, 5)
    img.clear(0)
    assert img.getPixel(1, 0, 1) == 5
    img.clear()
    assert img.getPixel(1, 0, 1) == 0
    with pytest.raises(TypeError, match=r"no CImage takes these arguments"):
        tv.CImage(iDepth=8, depth=8)
    with pytest.raises(TypeError, match=r"int getPixel\(\) |float getPixel\(int,int,int\)"):
        tv.CImage(8, 2, 2).getPixel(0, 0, 0.5)
    with pytest.raises(AttributeError, match="CGaussFilter has no method setSigma; it has: .*setBandwidth"):
        tv.CGaussFilter().setSigma(2)
    img.setName("pict")
    buffer = bytearray(5)  # four characters and the final zero
    img.getName(buffer)
    assert buffer == b"pict\0"
    small = bytearray(3)
    tv.CImage().getName(small)
    assert small == b"No\0"


def test_script_errors_carry_kind_and_message():
    with pytest.raises(tv.ScriptError) as e:
        tv.CMeanFilter(24)
    assert (e.value.kind, e.value.message) == ("badarg", "unsupported depth for CMeanFilter\n")
    bins = np.full(4, -1, np.float32)
    with pytest.raises(tv.ScriptError) as e:
        tv.CImage(8, 2, 2).histogram(0, 0.0, 10.0, 2, bins)
    assert (e.value.kind, e.value.message) == ("badop", "wrong histogram dimension\n")
    assert bins[:2].tolist() == [4.0, 0.0]  # computed all the same


@pytest.mark.parametrize("call, error", [
    (lambda i: i.getPixel(4, 0, 0), "column 4 outside 0..3"),
    (lambda i: i.getPixel(-1, 0, 0), "column -1 outside 0..3"),
    (lambda i: i.setPixel(0, 3, 0, 1.0), "row 3 outside 0..2"),
    (lambda i: i.max(2), "channel 2 outside 0..1"),
    (lambda i: i.clear(-2), "channel -2 outside 0..1"),
    (lambda i: i.interpolate(3.5, 0.0, 0), "column 3.5 outside 0..3"),
])
def test_indices_are_checked_before_the_library_would_abort(call, error):
    with pytest.raises(IndexError, match=error):
        call(tv.CImage(8, 4, 3, 2))


def test_arguments_the_library_would_crash_on_are_refused():
    img = tv.CImage(32, 4, 3, 2)
    with pytest.raises(ValueError, match="needs 24 elements, got 23"):
        img.getImageData(np.zeros(23, np.float32), 0)
    with pytest.raises(ValueError, match="needs 2 elements, got None"):
        img.getPixel(0, 0, None)
    with pytest.raises(TypeError, match=r"no CImage.getPixel takes .*\n  float getPixel"):
        img.getPixel(0, 0, np.zeros(2))
    img.append(tv.CImage(8, 4, 3))  # another depth joins, converted
    assert img.channels() == 3
    with pytest.raises(IndexError, match="channel 1 outside 0..0"):
        img.appendChannel(1, tv.CImage(32, 4, 3))
    other = tv.CImage(32, 4, 3)
    img.append(other)  # shares other's channel while other lives
    with pytest.raises(ValueError, match="a 32-bit image with shared channels"):
        img.detach()
    gauss = tv.CGaussFilter(32)
    with pytest.raises(ValueError, match="no input image set"):
        gauss.exec()
    with pytest.raises(ValueError, match="needs an image, not None"):
        gauss.setInput(None)
    with pytest.raises(ValueError, match="is a 8-bit image, this needs a 32-bit one"):
        gauss.setInput(tv.CImage(8))
    gauss.setInput(img)
    with pytest.raises(ValueError, match="no output image set"):
        gauss.exec()
    with pytest.raises(ValueError, match="is a 16-bit image, this needs a 32-bit one"):
        tv.DiffImage(img, tv.CImage(16))


def test_library_printing_goes_to_sys_stdout_unless_silenced(capsys):
    gauss = tv.CGaussFilter()
    gauss.setBandwidth(1.0)  # a 3x3 mask: one empty line per row
    assert tv.CImage().load("", "MTX") == 0
    assert capsys.readouterr().out == "\n\n\nNo path specified!\n"
    with tv.silenced():
        gauss.setBandwidth(1.0)
    tv.quiet = True
    try:
        gauss.setBandwidth(1.0)
    finally:
        tv.quiet = False
    assert capsys.readouterr().out == ""


def test_handles_are_freed_once_and_kept_while_a_filter_holds_them():
    count = _core.owned_count()
    src = tv.CImage.from_numpy(np.arange(12, dtype=np.float32).reshape(3, 4))
    copy = src.deepCopy()  # a returned image is owned like a created one
    assert _core.owned_count() == count + 2
    copy.close()
    copy.close()
    with pytest.raises(ValueError, match="closed object"):
        copy.width()
    with pytest.raises(ValueError, match="a closed image"):
        src.append(copy)
    mean = tv.CMeanFilter(32)
    mean.setNeighborhood(1)
    mean.setInput(src)
    mean.setOutput(tv.CImage(32))  # no other reference: the filter keeps it alive
    del src
    gc.collect()
    mean.exec()
    out = mean._keep["output"]
    assert out.to_numpy().tolist() == np.arange(12, dtype=np.float32).reshape(3, 4).tolist()
    with pytest.raises(ValueError, match="still held by a CMeanFilter"):
        out.close()
    other = tv.CImage()
    mean.setOutput(other)
    out.close()  # no longer held
    del mean, other
    gc.collect()
    assert _core.owned_count() == count


def test_convolution_filter_keeps_its_mask_array():
    mask = [0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0]
    conv = tv.CConvolutionFilter(32, mask, 3, 0, 0.0, 1.0, 1)
    gc.collect()
    src = tv.CImage.from_numpy(np.arange(20, dtype=np.float32).reshape(4, 5))
    out = tv.CImage(32)
    conv.exec(src, out)
    assert out.to_numpy()[1:3, 1:4].tolist() == src.to_numpy()[1:3, 1:4].tolist()


def test_help_shows_the_prototype_lines_and_purposes():
    doc = tv.CGaussFilter.setBandwidth.__doc__
    assert doc.splitlines()[0] == "void setBandwidth(float)    [CGaussFilter_0_setBandwidth]"
    assert "Gaussian smoothing" in tv.CGaussFilter.__doc__
    assert "int selectChannel(  char*)" in tv.CMedianFilter.__doc__


def test_python_m_tirnvision_lists_version_and_classes():
    out = subprocess.run([os.sys.executable, "-m", "tirnvision"], check=True,
                         capture_output=True, text=True).stdout
    assert out.startswith("tirnvision 7.9 17/07/02 KT (")
    assert "  CYuv2Rgb              Y, U, V to R, G, B" in out
    assert "  DiffImage             class CImage DiffImage(class CImage, class CImage)" in out


def test_the_plugin_path_comes_from_the_environment_when_set(tmp_path):
    env = dict(os.environ, TIRNVISION_MODULE=str(tmp_path / "none.so"))
    run = subprocess.run([os.sys.executable, "-c", "import tirnvision"], env=env,
                         capture_output=True, text=True)
    assert run.returncode != 0 and "cannot load " + str(tmp_path / "none.so") in run.stderr
