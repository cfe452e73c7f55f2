#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Quality of the human segmentation module on real footage, through its C entry points.

  accuracy  person and background accuracy on the hand-drawn scribbles of scribbles.json
  flicker   vtest.avi (still camera): mean mask change between frames where the picture is still
  lag       a slow pan over messi5.jpg: how far the mask trails the picture, in frames

usage: matte_quality.py BUILD_DIR SAMPLES_DIR [PICTURES_DIR]
Backends: the bundled high-accuracy manifest (window 2, 2 second looks), the same with window 0
or without second looks ("crops": 0), and the classical one.
With PICTURES_DIR, writes a small picture and matte of each scribbled picture there.
"""
import ctypes
import json
import os
import sys
import tempfile

import cv2
import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "..", "..")
MODELS = os.path.join(ROOT, "resources", "kaz_effect", "plugin", "AiModel")


class Frame(ctypes.Structure):
    _fields_ = [("format", ctypes.c_int32), ("flags", ctypes.c_int32),
                ("planeCount", ctypes.c_int32), ("width", ctypes.c_int32),
                ("height", ctypes.c_int32), ("reserved0", ctypes.c_int32 * 13),
                ("planes", ctypes.c_void_p * 3), ("reserved1", ctypes.c_uint8 * 40),
                ("strides", ctypes.c_int32 * 3)]


class Module:
    def __init__(self, build):
        self.lib = ctypes.CDLL(os.path.join(build, "bin", "libquorin_module_human_segment.so"))

    def create(self, model):
        handle = ctypes.c_void_p()
        if self.lib.QuorinHumanSegmentCreate(model.encode(), None, ctypes.byref(handle)) != 0:
            raise RuntimeError("create failed for " + model)
        return handle

    def run(self, handle, bgr):
        bgra = np.ascontiguousarray(cv2.cvtColor(bgr, cv2.COLOR_BGR2BGRA))
        mask = np.zeros(bgr.shape[:2], np.uint8)
        frames = []
        for m, fmt in ((bgra, 4), (mask, 2)):
            f = Frame(format=fmt, planeCount=1, width=m.shape[1], height=m.shape[0])
            f.planes[0] = m.ctypes.data
            f.strides[0] = m.strides[0]
            frames.append(f)
        if self.lib.QuorinHumanSegmentProcess(handle, ctypes.byref(frames[0]),
                                              ctypes.byref(frames[1])) != 0:
            raise RuntimeError("process failed")
        return mask

    def destroy(self, handle):
        self.lib.QuorinHumanSegmentDestroy(handle)


def manifests(folder):
    bundled = os.path.join(MODELS, "humansegmentation_highacc",
                           "RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model")
    with open(bundled) as f:
        text = json.load(f)
    text["matte"] = {k: (os.path.join(MODELS, "humansegmentation_highacc", v)
                         if k.endswith("etwork") else v) for k, v in text["matte"].items()}
    raw = json.loads(json.dumps(text))
    raw["matte"]["window"] = 0
    once = json.loads(json.dumps(text))
    once["matte"]["crops"] = 0
    out = {"matte": bundled}
    for name, content in (("matte, window 0", raw), ("matte, no second looks", once),
                          ("classical", {"backend": "classical"})):
        path = os.path.join(folder, name.replace(",", "").replace(" ", "_") + ".model")
        with open(path, "w") as f:
            json.dump(content, f)
        out[name] = path
    return out


def video_frames(path, count, start=0):
    capture = cv2.VideoCapture(path)
    frames = []
    while len(frames) < start + count:
        ok, frame = capture.read()
        if not ok:
            break
        frames.append(frame)
    return frames[start:]


def masks_of(module, model, frames):
    handle = module.create(model)
    try:
        return [module.run(handle, f) for f in frames]
    finally:
        module.destroy(handle)


def accuracy(module, models, samples, pictures):
    with open(os.path.join(HERE, "scribbles.json")) as f:
        labels = json.load(f)["pictures"]
    print("| picture | kind | backend | person | background |")
    print("|---|---|---|---|---|")
    for entry in labels:
        path = os.path.join(samples, entry["file"])
        frames = video_frames(path, entry["frame"] + 1) if "frame" in entry else [cv2.imread(path)]
        drawn = {}
        for side in ("person", "background"):
            drawn[side] = np.zeros(frames[-1].shape[:2], np.uint8)
            for x0, y0, x1, y1 in entry[side]:
                cv2.line(drawn[side], (x0, y0), (x1, y1), 255, 3)
        for name in ("matte", "matte, no second looks", "classical"):
            mask = masks_of(module, models[name], frames)[-1]
            person = np.mean(mask[drawn["person"] > 0] >= 128)
            background = np.mean(mask[drawn["background"] > 0] < 128)
            print("| %s | %s | %s | %.1f%% | %.1f%% |" % (entry["file"], entry["kind"], name,
                                                      100 * person, 100 * background))
            if pictures and name == "matte":
                picture = frames[-1]
                scale = 320.0 / picture.shape[1]
                small = cv2.resize(picture, None, fx=scale, fy=scale, interpolation=cv2.INTER_AREA)
                matte = cv2.resize(mask, (small.shape[1], small.shape[0]),
                                   interpolation=cv2.INTER_AREA)
                sheet = np.hstack([small, cv2.cvtColor(matte, cv2.COLOR_GRAY2BGR)])
                base = os.path.splitext(entry["file"])[0]
                cv2.imwrite(os.path.join(pictures, "matte_%s.png" % base), sheet)


def flicker(module, models, samples):
    frames = video_frames(os.path.join(samples, "vtest.avi"), 150)
    grey = [cv2.cvtColor(f, cv2.COLOR_BGR2GRAY).astype(np.int16) for f in frames]
    # Still: the picture changes by under 4 levels there between this frame and the last two.
    print("\n| backend | vtest.avi, 150 frames: mean mask change on still pixels (levels) |")
    print("|---|---|")
    for name in ("matte", "matte, no second looks", "matte, window 0", "classical"):
        masks = [m.astype(np.int16) for m in masks_of(module, models[name], frames)]
        changes = []
        for t in range(12, len(frames)):
            still = (np.abs(grey[t] - grey[t - 1]) < 4) & (np.abs(grey[t - 1] - grey[t - 2]) < 4)
            changes.append(np.abs(masks[t] - masks[t - 1])[still].mean())
        print("| %s | %.3f |" % (name, np.mean(changes)))


def lag(module, models, samples):
    photo = cv2.imread(os.path.join(samples, "messi5.jpg"))
    width, step, count = 420, 2, 40
    frames = [photo[:, i * step:i * step + width] for i in range(count)]
    print("\n| backend | pan over messi5.jpg, 2 px a frame: mask offset behind the picture "
          "(frames) | mean mask change vs. the mask of the same spot seen still (levels) |")
    print("|---|---|---|")
    still_handle = module.create(models["matte, window 0"])
    for name in ("matte", "matte, window 0"):
        masks = masks_of(module, models[name], frames)
        lags, errors = [], []
        for t in range(5, count):
            # The mask of a still frame at this position is the reference.
            ref = module.run(still_handle, frames[t]).astype(np.int16)
            best = min(range(0, 4), key=lambda k: np.abs(
                masks[t][:, k * step:].astype(np.int16) - ref[:, :width - k * step]).mean()
                if k else np.abs(masks[t].astype(np.int16) - ref).mean())
            lags.append(best)
            errors.append(np.abs(masks[t].astype(np.int16) - ref).mean())
        print("| %s | %.2f | %.3f |" % (name, np.mean(lags), np.mean(errors)))
    module.destroy(still_handle)


def main(argv):
    if len(argv) < 2:
        print(__doc__.strip().splitlines()[-3], file=sys.stderr)
        return 2
    if not os.path.exists(os.path.join(MODELS, "networks", "selfie_segmentation.onnx")):
        print("needs the installed networks (scripts/models.sh)", file=sys.stderr)
        return 1
    module = Module(argv[0])
    with tempfile.TemporaryDirectory() as folder:
        models = manifests(folder)
        accuracy(module, models, argv[1], argv[2] if len(argv) > 2 else None)
        flicker(module, models, argv[1])
        lag(module, models, argv[1])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
