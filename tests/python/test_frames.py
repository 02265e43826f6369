"""Single frames: records, decodes, reports, encodes and their errors."""

import gc
import pathlib
import pickle
import resource
import subprocess

import numpy
import pytest

import ravelo
from conftest import FRAMES, frame_named, noise

FORMS = ("coded", "rgba", "bgra", "rgba-half", "planar")


def planes_of(picture):
    return picture if isinstance(picture, tuple) else (picture,)


def equal(one, other):
    return len(planes_of(one)) == len(planes_of(other)) and all(
        a.dtype == b.dtype and numpy.array_equal(a, b) for a, b in zip(planes_of(one), planes_of(other))
    )


def test_info_reads_the_header():
    info = ravelo.info(frame_named("444_fields_alpha8"))
    assert (info.width, info.height, info.chroma, info.interlace) == (60, 47, "444", "even-first")
    assert (info.pictures, info.alpha_bits, info.has_luma_matrix) == (2, 8, False)
    info = ravelo.info(memoryview(frame_named("422_own_matrices_long_headers")))
    assert info.has_luma_matrix and info.has_chroma_matrix and info.header_bytes > 28


def test_check_says_what_is_wrong_with_data():
    frame = frame_named("422_progressive")
    assert ravelo.check(frame).is_whole
    assert ravelo.check(frame + bytes(100)).verdict == "whole"
    assert ravelo.check(frame + b"more").verdict == "followed"
    cut = ravelo.check(frame[:1000])
    assert (cut.verdict, cut.present_bytes, cut.declared_bytes) == ("cut-off", 1000, len(frame))
    assert cut.slices == 8 and 0 < cut.slices_out_of_data < 8 and "1000" in cut.text
    assert ravelo.check(b"\x89PNG\r\n\x1a\n").verdict == "foreign"
    assert ravelo.check(b"").verdict == "cut-off"


@pytest.mark.parametrize("size", (1, 2, 4, 8))
@pytest.mark.parametrize("form", FORMS)
def test_shapes_and_types_are_those_of_the_form(frame, size, form):
    info = ravelo.info(frame)
    width, height = info.width // size, info.height // size
    picture = ravelo.decode(frame, size=size, form=form)
    if form == "planar":
        chroma = width if info.chroma == "444" else (width + 1) // 2
        expected = [(height, width), (height, chroma), (height, chroma), (height, width)]
        has_alpha = info.chroma == "444" and info.alpha_bits
        assert [plane.shape for plane in picture] == expected[: 4 if has_alpha else 3]
    else:
        samples = 2 if form == "coded" and info.chroma == "422" else 4
        assert picture.shape == (height, width, samples)
    assert all(plane.dtype == ("float16" if form == "rgba-half" else "uint8") for plane in planes_of(picture))


def test_every_depth_has_its_range():
    frame = frame_named("444_alpha8_split_runs")
    for depth, most in ((8, 255), (10, 1023), (15, 32768), (16, 65535)):
        picture = ravelo.decode(frame, depth=depth, coding="rgb")
        assert picture.dtype == (numpy.uint8 if depth == 8 else numpy.uint16)
        assert picture[:, :, 0].max() == most
    assert ravelo.decode(frame, depth=16, form="bgra").max() == 65535
    assert ravelo.decode(frame, depth=16, form="rgba-half").dtype == numpy.float16


@pytest.mark.parametrize("options", [("--size", "full"), ("--size", "half"), ("--size", "eighth"), ("--depth", "10"),
                                     ("--depth", "16"), ("--target", "baseline")], ids="=".join)
def test_the_command_decodes_to_the_same_bytes(command, tmp_path, options):
    subprocess.run([command, "decode", *FRAMES, "-o", f"{tmp_path}/", "-F", "raw", "--coding", "ycbcr", *options,
                    "--quiet", "--failed", "left"], check=True)
    name, value = options[0][2:], options[1]
    arguments = {name: {"full": 1, "half": 2, "eighth": 8}.get(value) or (int(value) if name == "depth" else value)}
    compared = 0
    for path in FRAMES:
        picture = ravelo.decode(path.read_bytes(), **arguments)
        raw = numpy.frombuffer((tmp_path / (path.stem + ".raw")).read_bytes(), picture.dtype).reshape(picture.shape)
        # Reduced fields may have fewer lines than the picture. The command writes whole macroblocks there.
        is_reduced_fields = name == "size" and ravelo.info(path.read_bytes()).interlace != "progressive"
        lines = picture.shape[0] - (1 if is_reduced_fields and value != "full" else 0)
        assert numpy.array_equal(raw[:lines], picture[:lines])
        compared += 1
    assert compared == 14


def test_the_command_fills_damage_alike(command, tmp_path):
    cut = tmp_path / "cut.rvl"
    cut.write_bytes(frame_named("444_progressive")[:2000])
    for name in ("black", "marked"):
        out = tmp_path / f"{name}.raw"
        code = subprocess.run([command, "decode", cut, "-o", out, "--failed", name, "--mark-color", "123456",
                               "--coding", "ycbcr", "--quiet"]).returncode
        assert code == 3
        assert out.read_bytes() == ravelo.decode(cut.read_bytes(), failed=name, mark_color=0x123456).tobytes()


def test_a_region_is_that_part_of_the_whole(frame):
    info = ravelo.info(frame)
    for form in FORMS:
        for size in (1, 2):
            width, height = info.width // size, info.height // size
            x, y = width // 4 * 2, height // 3
            if width <= x or height <= y:
                continue
            whole = planes_of(ravelo.decode(frame, form=form, size=size))
            part = planes_of(ravelo.decode(frame, form=form, size=size, region=(x, y, width - x, height - y)))
            for one, other in zip(whole, part):
                first = x if one.shape[1] == width else x // 2
                assert numpy.array_equal(one[y:, first:], other)


def test_threads_and_targets_give_pictures():
    frame = frame_named("422_progressive")
    whole = ravelo.decode(frame)
    assert equal(whole, ravelo.decode(frame, threads=1))
    assert ravelo.decode(frame, target="baseline").shape == whole.shape
    assert equal(ravelo.decode(frame, target="best"), whole)


def test_failed_slices_keep_out_and_are_zero_without_it():
    cut = frame_named("422_progressive")[:3500]
    out = numpy.full((64, 96, 2), 77, numpy.uint8)
    picture, report = ravelo.decode_with_report(cut, out)
    assert picture is out and report.failed == report.grid.sum() > 0
    fresh = ravelo.decode(cut)
    for slice in report.slices:
        rectangle = numpy.s_[slice.y : slice.y + slice.height : slice.line_step, slice.x : slice.x + slice.width]
        assert (out[rectangle] == 77).all() and (fresh[rectangle] == 0).all()
        assert report.grid[slice.picture, slice.row, slice.column]
        assert slice.component in ("Y", "Cb", "Cr") and 0 <= slice.byte_offset <= len(cut)
    assert (ravelo.decode(cut, form="rgba", failed="marked", mark_color=0x0A141E)[-1, -1] == (10, 20, 30, 255)).all()
    assert (ravelo.decode(cut, form="rgba", failed="black")[-1, -1] == (0, 0, 0, 255)).all()


@pytest.mark.parametrize("failed", ("untouched", "black", "marked"))
def test_new_arrays_of_damaged_frames_take_one_decode(frame, failed, monkeypatch):
    decodes = []
    decode = ravelo._core.decode
    monkeypatch.setattr(ravelo._core, "decode", lambda *arguments: decodes.append(arguments) or decode(*arguments))
    # New memory contains something, so that what is left of it shows.
    monkeypatch.setattr(numpy, "empty", lambda shape, dtype: numpy.full(shape, 99, dtype))
    info = ravelo.info(frame)
    cut = frame[: info.header_bytes + (len(frame) - info.header_bytes) * 3 // 5]
    for form in FORMS:
        for size in (1, 2, 8):
            width, height = info.width // size, info.height // size
            x, y = width // 3 // 2 * 2, height // 3
            for region in (None, (x, y, width - x, height - y)) if width and height else (None,):
                options = {"form": form, "size": size, "region": region, "failed": failed}
                decodes.clear()
                new = ravelo.decode(cut, **options)
                assert len(decodes) == 1
                zeros = [numpy.zeros_like(plane) for plane in planes_of(new)]
                _, report = ravelo.decode_with_report(cut, tuple(zeros) if form == "planar" else zeros[0], **options)
                assert equal(new, tuple(zeros)), options
                assert region or report.failed or info.width == 1
                assert equal(ravelo.decode_with_report(cut, **options)[0], new)


def test_new_arrays_have_no_old_memory_when_the_frame_changes_after_its_slices_were_counted(monkeypatch):
    source = numpy.full((64, 256, 2), 100, numpy.uint8)
    few, many = (ravelo.encode(source, q=4, slice_size=size) for size in (8, 1))
    # The header and the table of slices, of which each has two bytes, and no slice.
    cut = many[: ravelo.info(many).header_bytes + 8 + 2 * 64]
    decode = ravelo._core.decode
    monkeypatch.setattr(ravelo._core, "decode", lambda data, *rest: decode(cut, *rest))
    monkeypatch.setattr(numpy, "empty", lambda shape, dtype: numpy.full(shape, 99, dtype))
    assert (ravelo.decode(few) == 0).all()


def test_a_single_field_leaves_odd_lines():
    frame = frame_named("422_single_field")
    picture = ravelo.decode(frame)
    assert (picture[1::2] == 0).all() and (picture[::2] != 0).all(axis=2).any()
    out = numpy.full(picture.shape, 9, numpy.uint8)
    assert (ravelo.decode(frame, out)[1::2] == 9).all()


def test_the_grid_has_a_place_for_every_slice(frame):
    picture, report = ravelo.decode_with_report(frame)
    assert report.failed == 0 and not report.grid.any() and equal(picture, ravelo.decode(frame))
    shape = report.grid.shape
    assert shape[0] == ravelo.info(frame).pictures and shape[0] * shape[1] * shape[2] == ravelo.check(frame).slices
    # Without a byte of slices all fail.
    info = ravelo.info(frame)
    damaged, report = ravelo.decode_with_report(frame[: info.header_bytes + 8], max_read_factor=2**32 - 1)
    assert report.grid[0].sum() == shape[1] * shape[2] and not damaged.any()


def test_new_arrays_contain_nothing_old():
    for height in (1, 8, 31, 46, 75):
        for interlace in ("progressive", "even-first", "odd-first", "single-field"):
            frame = ravelo.encode(numpy.full((height, 20, 2), 90, numpy.uint8), interlace=interlace)
            for size in (1, 2, 4, 8):
                for form in ("coded", "rgba"):
                    new = ravelo.decode(frame, size=size, form=form)
                    zeros, ones = numpy.zeros_like(new), numpy.full_like(new, 255)
                    ravelo.decode(frame, zeros, size=size, form=form)
                    ravelo.decode(frame, ones, size=size, form=form)
                    assert numpy.array_equal(new, zeros)
                    if interlace == "progressive" or (interlace != "single-field" and size == 1):
                        # Here new arrays come as they are, so all of their pixels must be written.
                        assert numpy.array_equal(zeros, ones)


def test_the_grid_of_fields_with_different_slices():
    picture = noise((50, 100, 2))
    one = ravelo.encode(picture, interlace="odd-first", slice_size=8)
    other = ravelo.encode(picture, interlace="odd-first", slice_size=1)
    start = ravelo.info(one).header_bytes
    size_of_first = int.from_bytes(one[start + 1 : start + 5], "big")
    second = start + int.from_bytes(other[start + 1 : start + 5], "big")
    mixed = one[: start + size_of_first] + other[second:]
    assert ravelo.check(mixed).is_whole
    assert ravelo.decode_with_report(mixed)[1].grid.shape == (2, 2, 7)
    foreign = b"\x89PNG\r\n\x1a\n" + mixed[8:]
    assert ravelo.check(foreign).verdict == "foreign"
    assert ravelo.decode_with_report(foreign)[1].grid.shape == (2, 2, 7)


def test_errors_have_status_and_text():
    with pytest.raises(ravelo.Error) as caught:
        ravelo.info(b"short")
    assert caught.value.status == ravelo.Status.FRAME and "5 bytes" in caught.value.text
    copy = pickle.loads(pickle.dumps(caught.value))
    assert (copy.status, str(copy)) == (caught.value.status, caught.value.text)
    frame = frame_named("422_progressive")
    with pytest.raises(ravelo.Error, match="96 x 64 = 6144 pixels") as caught:
        ravelo.decode(frame, max_pixels=6143)
    assert caught.value.status == ravelo.Status.LIMIT
    ravelo.decode(frame, max_pixels=6144)
    for arguments in ({"coding": "rgb"}, {"form": "rgba", "depth": 10}, {"size": 2, "depth": 10},
                      {"region": (1, 0, 2, 2)}, {"region": (0, 0, 97, 2)}):
        with pytest.raises(ravelo.Error) as caught:
            ravelo.decode(frame, **arguments)
        assert caught.value.status == ravelo.Status.COMBINATION, arguments


@pytest.mark.parametrize("kind, arguments", [
    (ValueError, {"size": 3}), (TypeError, {"size": "half"}), (ValueError, {"depth": 12}),
    (ValueError, {"form": "rgb"}), (TypeError, {"form": 1}), (TypeError, {"form": None}),
    (ValueError, {"coding": "yuv"}), (ValueError, {"target": "sse2"}), (ValueError, {"failed": "left"}),
    (ValueError, {"threads": -1}), (ValueError, {"threads": 2**32}), (TypeError, {"threads": 1.5}),
    (ValueError, {"max_pixels": 0}), (ValueError, {"max_pixels": 2**64}), (ValueError, {"max_read_factor": 0}),
    (ValueError, {"mark_color": 0x1000000}), (TypeError, {"region": 5}), (TypeError, {"region": (1, 2, 3)}),
    (ValueError, {"region": (0, 0, 0, 0)}), (ValueError, {"region": (-2, 0, 4, 4)}),
    (ValueError, {"depth": 10, "form": "rgba-half"}), (TypeError, {"no_such_option": 1}), (TypeError, {"size": []}),
], ids=str)
def test_wrong_options_are_refused(kind, arguments):
    with pytest.raises(kind) as caught:
        ravelo.decode(frame_named("422_progressive"), **arguments)
    assert next(iter(arguments)) in str(caught.value)


def test_data_need_contiguous_memory():
    for call in (ravelo.info, ravelo.check, ravelo.decode, ravelo.decode_with_report):
        with pytest.raises(TypeError, match="data"):
            call("text")
        with pytest.raises(ValueError, match="data"):
            call(memoryview(bytes(100))[::2])


@pytest.mark.parametrize("chroma, samples", (("422", 2), ("444", 4)))
def test_what_is_decoded_can_be_encoded(chroma, samples):
    source = noise((33, 50, samples), numpy.uint16) // 4 + 20000
    frame = ravelo.encode(source, form="coded", chroma=chroma, q=1, alpha=16 if chroma == "444" else None)
    picture = ravelo.decode(frame, depth=16)
    assert picture.shape == source.shape
    difference = numpy.abs(picture.astype(int) - source)[:, :, -samples + (samples == 4) :]
    # The finest index moves a coefficient by at most a code of 10 bits, and a sample by a few of them.
    assert difference.max() < 64 * 8
    planes = ravelo.decode(frame, depth=16, form="planar")
    again = ravelo.encode(planes, q=1, chroma=chroma, alpha=16 if chroma == "444" else None)
    assert ravelo.info(again) == ravelo.info(frame)


def test_encode_takes_every_form_and_option():
    picture = noise((40, 70, 4))
    assert ravelo.info(ravelo.encode(picture, form="rgba")).chroma == "422"
    assert ravelo.encode(picture, form="rgba") == ravelo.encode(picture[:, :, (2, 1, 0, 3)], form="bgra")
    halves = (picture / 255).astype(numpy.float16)
    assert abs(len(ravelo.encode(halves)) - len(ravelo.encode(picture, form="rgba"))) < 200
    info = ravelo.info(ravelo.encode(picture, form="rgba", chroma="444", alpha=8, interlace="odd-first", bpp=14,
                                     matrix_coefficients=9, color_primaries=9, transfer_characteristic=16,
                                     luma_matrix=numpy.full((8, 8), 5), threads=2))
    assert (info.alpha_bits, info.interlace, info.matrix_coefficients, info.color_primaries) == (8, "odd-first", 9, 9)
    assert (info.transfer_characteristic, info.has_luma_matrix, info.chroma) == (16, True, "444")
    smooth = numpy.tile(numpy.arange(70, dtype=numpy.uint8)[None, :, None], (40, 1, 2))
    ten_bits = smooth.astype(numpy.uint16) * 4
    assert ravelo.encode(smooth) == ravelo.encode(ten_bits, depth=10)
    rate = len(ravelo.encode(noise((160, 320, 2)), bpp=6)) * 8 / (160 * 320)
    assert 6 * 0.97 <= rate <= 6 * 1.03


def test_encode_reads_lines_of_any_stride():
    picture = noise((40, 140, 4), seed=3)
    expected = ravelo.encode(picture[:, :70].copy(), form="rgba")
    assert ravelo.encode(picture[:, :70], form="rgba") == expected
    turned = picture[::-1].copy()
    assert ravelo.encode(turned[::-1, :70], form="rgba") == expected
    assert ravelo.encode(numpy.asfortranarray(picture)[:, :70], form="rgba") == expected
    assert ravelo.encode(picture[:, 69::-1][:, ::-1], form="rgba") == expected


@pytest.mark.parametrize("kind, array, arguments", [
    (ValueError, noise((8, 8, 4)), {}), (ValueError, noise((8, 8, 2)), {"bpp": 1, "q": 1}),
    (ValueError, noise((8, 8, 2)), {"q": 0}), (ValueError, noise((8, 8, 2)), {"bpp": 0}),
    (ValueError, noise((8, 8, 2)), {"chroma": "420"}), (ValueError, noise((8, 8, 2)), {"alpha": 4}),
    (ValueError, noise((8, 8, 3)), {"form": "rgba"}), (ValueError, noise((8, 8)), {"form": "rgba"}),
    (ValueError, noise((8, 8, 4)).astype(float), {"form": "rgba"}), (ValueError, noise((0, 8, 2)), {}),
    (ValueError, noise((8, 8, 2)), {"depth": 10}), (ValueError, (noise((8, 8)),), {}),
    (ValueError, (noise((8, 8)), noise((8, 3)), noise((8, 4))), {}), (TypeError, noise((8, 8, 2)), {"form": "planar"}),
    (ValueError, noise((8, 8, 2)), {"slice_size": 3}), (ValueError, noise((8, 8, 2)), {"threads": 0}),
    (ValueError, noise((8, 8, 2)), {"luma_matrix": [1] * 63}), (ValueError, noise((8, 8, 2)), {"luma_matrix": [0] * 64}),
])
def test_wrong_pictures_and_options_are_not_encoded(kind, array, arguments):
    with pytest.raises(kind):
        ravelo.encode(array, **arguments)


def test_a_rate_that_no_index_meets_is_an_error():
    with pytest.raises(ravelo.Error) as caught:
        ravelo.encode(noise((64, 64, 2)), bpp=0.01)
    assert caught.value.status == ravelo.Status.COMBINATION


def resident_bytes():
    return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * resource.getpagesize()


def test_memory_does_not_grow_over_ten_thousand_calls():
    frame = frame_named("422_index_per_slice")
    out = numpy.empty((48, 80, 2), numpy.uint8)
    array = noise((16, 16, 2))

    def calls(count):
        for _ in range(count):
            ravelo.decode(frame, threads=1)
            ravelo.decode(frame, out, threads=1)
            ravelo.decode_with_report(frame[:1000], size=4)
            ravelo.encode(array)
            with pytest.raises(ravelo.Error):
                ravelo.decode(frame, max_pixels=1)

    calls(200)
    gc.collect()
    before = resident_bytes()
    calls(2000)
    gc.collect()
    # A leak of one record for each call would be a mebibyte.
    assert resident_bytes() - before < 400_000
