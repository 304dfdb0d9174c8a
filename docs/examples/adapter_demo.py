"""The image-source adapter from Python with the norvane package: producer threads,
a callback, errors, and pixel conversion. Run by the tests; docs/c-interface.md
quotes it."""
import threading

import norvane
from norvane import ColourChannelUsage, Image, ImageTag, NorvaneError, PixelFormat

print("libNorvaneCore", norvane.library_version())
try:
    with norvane.ImageSourceAdapter() as adapter:
        pass
    adapter.start_fetching()  # closed: -10002, as the C interface answers a null handle
except NorvaneError as error:
    print(error.code, error.message)  # -10002 Null pointer.

with norvane.ImageSourceAdapter() as adapter:
    adapter.max_image_count = 2
    adapter.overflow_mode = 0  # producers wait while the buffer is full
    adapter.start_fetching()

    def produce(first):
        for image_id in range(first, first + 10):
            adapter.add_image(Image(bytes([image_id]) * 8, 4, 2, 4, PixelFormat.GRAYSCALE,
                                    tag=ImageTag(image_id=image_id)))

    producers = [threading.Thread(target=produce, args=(n * 10,)) for n in range(3)]
    for producer in producers:
        producer.start()
    taken = []
    while len(taken) < 30:
        image = adapter.get_image()  # None while the buffer is empty
        if image is not None:
            taken.append(image.tag.image_id)
    for producer in producers:
        producer.join()
print("took", len(taken), "images")
assert sorted(taken) == list(range(30))

frames = [Image(b"\x80" * 4, 2, 2, 2, tag=ImageTag(image_id=n)) for n in range(3)]
with norvane.ImageSourceAdapter(has_next=lambda: bool(frames),
                                get_image=lambda: frames.pop() if frames else None) as camera:
    while camera.has_next_image_to_fetch():
        print("from the callback:", camera.get_image().tag.image_id)

bgr = Image(bytes([255, 0, 0, 0, 0, 255]), 2, 1, 6, PixelFormat.RGB_888)  # blue, red
grey = norvane.convert(bgr, ColourChannelUsage.LUMINANCE_ONLY)
print("grey:", list(grey.data))  # [28, 76]
assert list(grey.data) == [(7424 * 255) >> 16, (19562 * 255) >> 16]
