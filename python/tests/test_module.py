"""The Python module against the command: the same kinds and descriptions,
the same pixels for the same arguments, the same messages, and the same
arrays whether renders run one at a time or four at once."""

import concurrent.futures
import os
import subprocess
import sys
import threading
import warnings

import numpy as np
import pytest

import tsntxtr
from support import EXE, command_picture, read_bmp, read_png, run

KINDS = tsntxtr.kinds()


def test_kinds_are_the_commands_list():
    _, out, _ = run("list")
    keys = [line.split()[1] for line in out.decode().splitlines()[1:]]
    assert KINDS == keys
    assert len(KINDS) == 23


@pytest.mark.parametrize("kind", KINDS)
def test_describe_gives_what_the_command_prints(kind):
    d = tsntxtr.describe(kind)
    _, out, _ = run("describe", kind)
    lines = out.decode().splitlines()
    assert lines[0].startswith(f'{d["name"]} (key "{d["key"]}"): {d["block_size"]}-byte block')
    assert d["signature"] in lines[0]
    assert ("colour map mutable" in lines[0]) == d["colour_map_mutable"]
    yes = {True: "yes", False: "no"}
    assert lines[1] == (
        f"Tileable (--tileable): {yes[d['tileable']]}. "
        f"Height and normal maps (--height, --normal): {yes[d['height_map']]}."
    )
    rows = lines[3:]
    assert len(rows) == len(d["fields"])
    for row, f in zip(rows, d["fields"]):
        ident = "-" if f["id"] is None else str(f["id"])
        expected = "%-14s %-9s %-13s %-6s %-17s %-9s %s" % (
            f["name"], f["type"], f["control"], ident, f["range_text"], f["default_text"],
            f["meaning"])
        assert row == expected
        # The values as Python holds them say what the texts say.
        if f["type"] == "fountain":
            assert f["range"] is None and f["default"] is None
            continue
        low, high = f["range"]
        if f["range_text"] == "0 | 1":
            assert (low, high) == (0, 1) and f["default"] in (0, 1)
            continue
        want = float if f["type"] == "real" else int
        assert type(low) is want and type(high) is want and type(f["default"]) is want
        texts = f["range_text"].split(" .. ")

        def value(text):
            return int(text, 16) if text.startswith("0x") else float(text)

        assert [value(t) for t in texts] == [low, high]
        assert value(f["default_text"]) == f["default"]


def test_describe_of_an_unknown_kind_raises_the_commands_message():
    code, _, err = run("describe", "nosuch", check=False)
    assert code == 2
    with pytest.raises(ValueError) as e:
        tsntxtr.describe("nosuch")
    assert str(e.value) == err.strip().removeprefix("tsntxtr: ")


@pytest.mark.parametrize("kind", KINDS)
def test_every_default_render_is_the_commands_png(kind, tmp_path):
    picture = tsntxtr.render(kind)
    assert picture.dtype == np.uint8 and picture.ndim == 3 and picture.shape[2] == 3
    assert picture.flags["C_CONTIGUOUS"]
    expected = command_picture(tmp_path, kind)
    assert picture.shape == expected.shape
    assert np.array_equal(picture, expected)


ARGUMENTS = [
    # (module keywords, command options)
    ("noise", dict(width=333, depth=517, seed=32757, fields={"sum": False, "squareAspect": 0}),
     ["--width", "333", "--depth", "517", "--seed", "32757", "--set", "sum=0",
      "--set", "squareAspect=0"]),
    ("noise", dict(fields={"squareAspect": 0, "xScale": 12.5, "yScale": 127.9, "layers": 7}),
     ["--set", "squareAspect=0", "--set", "xScale=12.5", "--set", "yScale=127.9",
      "--set", "layers=7"]),
    ("plasma", dict(width=90, depth=200, fields={"useSeedColour": True,
                                                 "seedColour": "0x3060C0"}),
     ["--width", "90", "--depth", "200", "--set", "useSeedColour=1",
      "--set", "seedColour=0x3060C0"]),
    ("CGI Sea", dict(fields={"size": 200, "power": 1, "quality": 2}),
     ["--set", "size=200", "--set", "power=1", "--set", "quality=2"]),
    ("craters", dict(width=200, depth=150, seed=4242, tileable=True),
     ["--width", "200", "--depth", "150", "--seed", "4242", "--tileable"]),
    ("absnoise", dict(width=120, depth=64, fields={"noiseType": 5, "fractal": 2,
                                                   "lacunarity": np.float64(2.7)}),
     ["--width", "120", "--depth", "64", "--set", "noiseType=5", "--set", "fractal=2",
      "--set", "lacunarity=2.7"]),
    ("pipes", dict(seed=4242, fields={"style": 1, "reduction": 4, "widthCells": 3,
                                      "depthCells": 2, "density": 2, "valves": 3}),
     ["--seed", "4242", "--set", "style=1", "--set", "reduction=4", "--set", "widthCells=3",
      "--set", "depthCells=2", "--set", "density=2", "--set", "valves=3"]),
]


@pytest.mark.parametrize("kind,keywords,options", ARGUMENTS, ids=[a[0] for a in ARGUMENTS])
def test_arguments_give_the_commands_pixels(kind, keywords, options, tmp_path):
    picture = tsntxtr.render(kind, **keywords)
    assert np.array_equal(picture, command_picture(tmp_path, kind, *options))


def test_presets_and_settings_files_as_on_the_command_line(tmp_path):
    run("presets", "noise", "--save", "Soft Look", "--set", "layers=7", "--set", "scale=9.5")
    from_preset = tsntxtr.render("noise", preset="soft look", width=100, depth=80)
    assert np.array_equal(from_preset, command_picture(
        tmp_path, "noise", "--preset", "Soft Look", "--width", "100", "--depth", "80"))
    settings = tmp_path / "saved.texture"
    run("render", "plasma", "--seed", "777", "--width", "120", "--depth", "90",
        "-o", str(tmp_path / "first.png"), "--save-settings", str(settings))
    # The file names its kind; what is given beside it overrides what it holds.
    again = tsntxtr.render(from_file=settings)
    assert np.array_equal(again, command_picture(tmp_path, "--from", str(settings)))
    assert again.shape == (90, 120, 3)
    wider = tsntxtr.render(from_file=str(settings), width=130)
    assert np.array_equal(wider, command_picture(tmp_path, "--from", str(settings),
                                                 "--width", "130"))


@pytest.mark.parametrize("kind", ["terrain", "craters", "noise", "surface"])
def test_height_is_the_commands_height_map(kind, tmp_path):
    levels = tsntxtr.height(kind, width=160, depth=100, seed=777)
    raw = tmp_path / "levels.r16"
    run("render", kind, "--width", "160", "--depth", "100", "--seed", "777",
        "-o", str(tmp_path / "p.png"), "--height", str(raw))
    expected = np.fromfile(raw, dtype="<u2").reshape(100, 160)
    assert levels.dtype == np.uint16 and levels.shape == (100, 160)
    assert np.array_equal(levels, expected)
    assert levels.max() > levels.min()


ERRORS = [
    # (module call, command options): both refuse the same way
    (dict(kind="nosuch"), ["nosuch"]),
    (dict(kind=""), [""]),
    (dict(), []),
    (dict(kind="noise", fields={"nosuch": 1}), ["noise", "--set", "nosuch=1"]),
    (dict(kind="noise", fields={"layers": "abc"}), ["noise", "--set", "layers=abc"]),
    (dict(kind="noise", fields={"layers": 2.5}), ["noise", "--set", "layers=2.5"]),
    (dict(kind="noise", fields={"fountain": 1}), ["noise", "--set", "fountain=1"]),
    (dict(kind="mandelbrot", tileable=True), ["mandelbrot", "--tileable"]),
    (dict(kind="pipes", width=100), ["pipes", "--width", "100"]),
    (dict(kind="matrix", seed=100), ["matrix", "--seed", "100"]),
    (dict(kind="noise", preset="Nothing"), ["noise", "--preset", "Nothing"]),
    (dict(kind="plasma", preset="Nothing"), ["plasma", "--preset", "Nothing"]),
    (dict(from_file="/no/such/file.texture"), ["--from", "/no/such/file.texture"]),
    (dict(kind="matrix", fields={"selection": 5}), ["matrix", "--set", "selection=5"]),
]


@pytest.mark.parametrize("call,options", ERRORS, ids=[str(e[1]) for e in ERRORS])
def test_errors_raise_the_commands_message(call, options, tmp_path):
    code, _, err = run("render", *options, "-o", str(tmp_path / "x.png"), check=False)
    assert code != 0 and err.startswith("tsntxtr: ")
    message = "\n".join(line.removeprefix("tsntxtr: ") for line in err.strip().splitlines())
    with pytest.raises(ValueError) as e:
        tsntxtr.render(**call)
    assert str(e.value) == message
    assert not (tmp_path / "x.png").exists()


def test_height_of_a_kind_without_one_raises_the_commands_message(tmp_path):
    code, _, err = run("render", "plasma", "-o", str(tmp_path / "p.png"),
                       "--height", str(tmp_path / "h.png"), check=False)
    assert code == 2
    with pytest.raises(ValueError) as e:
        tsntxtr.height("plasma")
    assert str(e.value) == err.strip().removeprefix("tsntxtr: ")


def test_wrong_types_raise_type_errors():
    with pytest.raises(TypeError):
        tsntxtr.render("noise", fields={"layers": [3]})
    with pytest.raises(TypeError):
        tsntxtr.render("noise", fields=["layers=3"])
    with pytest.raises(TypeError):
        tsntxtr.render("noise", width="wide")


def test_clamped_values_warn_with_the_commands_note_and_render(tmp_path):
    code, _, err = run("render", "noise", "--width", "3", "--set", "layers=99",
                       "-o", str(tmp_path / "c.png"))
    notes = [line.removeprefix("tsntxtr: ") for line in err.strip().splitlines()]
    assert len(notes) == 2
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        picture = tsntxtr.render("noise", width=3, fields={"layers": 99})
    assert [str(w.message) for w in caught] == notes
    assert all(issubclass(w.category, tsntxtr.ClampWarning) for w in caught)
    assert issubclass(tsntxtr.ClampWarning, UserWarning)
    assert np.array_equal(picture, read_png((tmp_path / "c.png").read_bytes()))
    # Warnings made errors stop the call, as Python's warnings do.
    with warnings.catch_warnings():
        warnings.simplefilter("error", tsntxtr.ClampWarning)
        with pytest.raises(tsntxtr.ClampWarning):
            tsntxtr.render("noise", width=3)



def test_a_tileable_scale_rounded_to_whole_cells_warns_as_the_command_notes(tmp_path):
    options = dict(width=300, depth=210, fields={"xScale": 7.3})
    code, _, err = run("render", "noise", "--width", "300", "--depth", "210", "--set",
                       "xScale=7.3", "--tileable", "-o", str(tmp_path / "t.png"))
    note = err.strip().removeprefix("tsntxtr: ")
    assert code == 0 and note.startswith("tileable: ")
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        picture = tsntxtr.render("noise", tileable=True, **options)
    assert [str(w.message) for w in caught] == [note]
    assert np.array_equal(picture, read_png((tmp_path / "t.png").read_bytes()))

# Kinds and settings that share the most between sessions: Pipes' loaded art
# in both styles, the CGI kinds' noise service, the configuration, the
# kinds that keep a grey image.
CONCURRENT = [
    ("pipes", dict(fields={"reduction": 4, "style": 0})),
    ("pipes", dict(fields={"reduction": 4, "style": 1, "effect": 7})),
    ("noise", dict(width=300, depth=200, seed=100)),
    ("mandelbrot", dict(width=256, depth=192)),
    ("cgigranite", dict(fields={"size": 160})),
    ("cgiterrain", dict(fields={"size": 128, "tileable": 1})),
    ("particle", dict(width=200, depth=150)),
    ("craters", dict(width=200, depth=160, tileable=True)),
    ("matrix", dict(width=120, depth=90)),
    ("clouds", dict(width=160, depth=120)),
    ("plasma", dict(width=200, depth=150, seed=777)),
    ("surface", dict(width=128, depth=96)),
]


def test_four_threads_render_what_one_at_a_time_renders():
    alone = [tsntxtr.render(kind, **kw) for kind, kw in CONCURRENT]
    heights = [tsntxtr.height("terrain", seed=s, width=128, depth=128) for s in (100, 200)]
    jobs = [(tsntxtr.render, kind, kw, alone[i]) for i, (kind, kw) in enumerate(CONCURRENT)]
    jobs += [(tsntxtr.height, "terrain", dict(seed=s, width=128, depth=128), heights[i])
             for i, s in enumerate((100, 200))]
    # Pipes' two styles side by side, where a shared cache of art showed.
    jobs = jobs * 3 + (jobs[:2] * 8)
    with concurrent.futures.ThreadPoolExecutor(max_workers=4) as pool:
        futures = [pool.submit(call, kind, **kw) for call, kind, kw, _ in jobs]
        results = [f.result() for f in futures]
    for (call, kind, kw, expected), got in zip(jobs, results):
        assert np.array_equal(got, expected), (kind, kw)


def test_the_first_renders_of_a_process_may_be_on_several_threads():
    # A fresh interpreter whose very first calls come from a pool at once
    # (as a script's would); a deadlock there shows as a timeout.
    script = (
        "import concurrent.futures, tsntxtr\n"
        "with concurrent.futures.ThreadPoolExecutor(4) as pool:\n"
        "    shapes = list(pool.map(lambda s: tsntxtr.render('plasma', width=64, depth=64,"
        " seed=s).shape, range(100, 108)))\n"
        "print(shapes[0], len(shapes))\n")
    for attempt in range(5):
        done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True,
                              timeout=120)
        assert done.returncode == 0, done.stderr
        assert done.stdout.strip() == "(64, 64, 3) 8"


def test_errors_from_threads_are_their_own():
    calls = [dict(kind="noise", fields={"nosuch": 1}), dict(kind="nosuch"),
             dict(kind="noise", width=64, depth=64)] * 8
    def attempt(kw):
        try:
            return tsntxtr.render(**kw)
        except ValueError as e:
            return str(e)
    with concurrent.futures.ThreadPoolExecutor(max_workers=4) as pool:
        results = list(pool.map(attempt, calls))
    for kw, got in zip(calls, results):
        if kw.get("kind") == "nosuch":
            assert got.startswith("unknown kind 'nosuch'")
        elif "fields" in kw:
            assert got.startswith("unknown field 'nosuch' of Noise")
        else:
            assert got.shape == (64, 64, 3)


def test_the_render_lets_other_threads_run():
    # With a switch interval far longer than the render, a thread holding
    # the interpreter keeps it until it blocks or lets go. The main thread
    # is woken only when the render lets go of it: then the render is still
    # running, where a render that held it would have finished by then.
    entering = threading.Event()
    result = {}

    def work():
        entering.set()
        result["picture"] = tsntxtr.render("noise", width=2048, depth=2048, fields={"layers": 7})

    before = sys.getswitchinterval()
    sys.setswitchinterval(100.0)
    try:
        worker = threading.Thread(target=work)
        worker.start()
        entering.wait()
        still_rendering = worker.is_alive()
        worker.join()
    finally:
        sys.setswitchinterval(before)
    assert still_rendering
    assert result["picture"].shape == (2048, 2048, 3)


def test_png_and_bmp_readers_agree(tmp_path):
    # The tests' own readers, checked against each other on pictures whose
    # rows take every PNG filter.
    for kind in ("noise", "pipes", "cgisea", "scratch"):
        png, bmp = tmp_path / "a.png", tmp_path / "a.bmp"
        run("render", kind, "-o", str(png))
        run("render", kind, "-o", str(bmp))
        assert np.array_equal(read_png(png.read_bytes()), read_bmp(bmp.read_bytes()))


def test_the_module_is_this_builds():
    _, out, _ = run("--version")
    assert out.decode().split("\n")[0].startswith("tsntxtr " + tsntxtr.__version__)
    assert os.path.exists(EXE)
