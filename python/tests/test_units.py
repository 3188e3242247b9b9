import gc
import os
import warnings

import numpy as np
import pytest

import tirnvision as tv
from tirnvision import _core


def pattern():
    y, x = np.mgrid[0:7, 0:9]
    return ((x * 37 + y * 101) % 256).astype(np.float32)


def test_convolution_into_display_gives_the_unit_filters_output_and_its_window(tmp_path):
    net = tv.Network()
    conv = net.create("ConvolutionFilter", {"Depth of Input-CImage": "32-bit"},
                      Filtertype="1.G", Orientation=45)
    show = net.create("display_image", {2: 12, 3: 10}, Mode="gray", Zoom=2)
    for i, v in enumerate((1, 45, 1)):
        conv.set_value(i, v, group=1)
    conv.set_input(0, pattern())
    net.connect(conv, 0, show, 0)
    with tv.silenced():
        assert net.run([conv, show]) is True
    window = show.window()
    assert window.shape == (20, 24) and window.dtype == np.uint8
    assert window.any()
    # The unit's output is what the script filter gives for the same mask.
    script = tv.CImage(32)
    tv.CConvolutionFilter(32, None, 3, 1, 45.0, 1.0, 0).exec(tv.CImage.from_numpy(pattern()), script)
    assert np.array_equal(conv.output_image(0).to_numpy(), script.to_numpy())
    show.save_png(tmp_path / "w.png")
    assert (tmp_path / "w.png").read_bytes()[:4] == b"\x89PNG"


def test_an_rgb_window_stands_the_picture_upright_at_its_zoom():
    rgb = np.random.default_rng(3).integers(0, 256, (3, 4, 3), dtype=np.uint8)
    net = tv.Network()
    show = net.create("display_image", {"Size": 5, 3: 4}, Depth=1, Zoom=2)
    show.set_input(0, rgb)
    with tv.silenced():
        net.run()
    window = show.window()
    assert window.shape == (8, 10, 3)
    # Drawn from the top-left corner; the image's first row is the picture's bottom one.
    expected = np.zeros_like(window)
    expected[0:6, 0:8] = rgb[::-1].repeat(2, 0).repeat(2, 1)
    assert np.array_equal(window, expected)


def test_refused_answers_and_warnings_keep_the_hosts_words():
    net = tv.Network()
    with pytest.raises(ValueError) as e:
        net.create("ConvolutionFilter", Orientation=400)
    assert str(e.value) == 'dialog field 4 "Orientation": 400 is outside its range 0..360'
    with pytest.raises(ValueError, match='^folder "tirnvision" has no icon "Sobel"$'):
        net.create("Sobel")
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        assert net.create("display_image", Depth=2) is None
    assert [(w.category, str(w.message)) for w in caught] == [
        (tv.UnitWarning, "display_image: Unknown image depth!")]
    assert net.units == []


def test_a_network_keeps_its_pin_images_and_goes_before_the_plugin(tmp_path):
    before = _core.owned_count()
    net = tv.Network()
    conv = net.create("ConvolutionFilter", {"Depth of Input-CImage": "32-bit"})
    image = tv.CImage.from_numpy(np.full((3, 4), 9, np.float32))
    conv.set_input(0, image)
    conv.set_value(2, 1, group=1)  # zoom 1; type 0 is the Gauss
    image.close()  # the pin holds its own copy
    with tv.silenced():
        assert net.run([conv])
    copy = conv.output_image(0)
    output = copy.to_numpy()
    assert output.shape == (3, 4) and np.allclose(output, 9)  # the closed input was copied
    net.save(tmp_path / "net.txt")
    assert (tmp_path / "net.txt").read_text().startswith(
        "tirnhost network 1\nunit 0 tirnvision/ConvolutionFilter\n")
    del net
    gc.collect()
    assert conv.network.units[0].icon == "ConvolutionFilter"  # a unit keeps its network
    conv.network.close()
    conv.network.close()  # no second free
    with pytest.raises(ValueError, match="^the network is closed$"):
        conv.set_value(0, 1)
    assert np.array_equal(copy.to_numpy(), output)  # the output outlives the network
    copy.close()
    assert _core.owned_count() == before


def test_the_readme_units_example_runs_as_printed(tmp_path, capsys, monkeypatch):
    readme = open(os.path.join(os.path.dirname(__file__), "..", "..", "README.md")).read()
    block = readme.split("<!-- tested: example_units.py -->\n```python\n", 1)[1].split("```", 1)[0]
    monkeypatch.chdir(tmp_path)
    exec(compile(block, "example_units.py", "exec"), {})
    assert capsys.readouterr().out.endswith("(120, 160) uint8\n")
    assert (tmp_path / "conv.png").exists()
