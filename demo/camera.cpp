// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "demo/feed.h"
#include "demo/roles.h"

namespace qor::demo {
namespace {

enum class PixelFormat : std::uint8_t { kGrey8 = 0 };
enum class ObjectKind : std::uint16_t { kCar = 1, kPedestrian = 2, kSign = 3 };

constexpr std::uint32_t kWidth = 1600;
constexpr std::uint32_t kHeight = 1250;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

/// A picture of diagonal stripes that move by one pixel a frame: a window into pixels that are a few more than one
/// frame.
class Stripes {
 public:
  Stripes() : pixels_(kPixels + kPeriod) {
    for (std::size_t i = 0; i < pixels_.size(); ++i) {
      pixels_[i] = static_cast<std::uint8_t>((i % kWidth + i / kWidth) % kPeriod);
    }
  }
  std::span<const std::uint8_t> Frame(std::uint32_t number) const {
    return std::span(pixels_).subspan(number % kPeriod, kPixels);
  }

 private:
  static constexpr std::size_t kPeriod = 256;
  std::vector<std::uint8_t> pixels_;
};

void WriteObject(PayloadWriter& payload, std::uint32_t id, ObjectKind kind, double seconds) {
  payload.Number(id).Number(kind);
  payload.Number(static_cast<float>(20.0 + 5.0 * std::sin(seconds)));  // ahead, metres
  payload.Number(static_cast<float>(2.0 * std::cos(seconds + id)));    // to the left, metres
  payload.Number(0.0F);                                                // up, metres
  payload.Number(static_cast<float>(0.9 - 0.1 * id));
}

constexpr std::size_t kPointSize = 3 * sizeof(float);

/// A point of a wall that moves to and fro: metres ahead, to the left and up.
void WritePoint(PayloadWriter& payload, std::uint32_t number, std::uint32_t frame) {
  constexpr std::uint32_t kColumns = 128;
  payload.Number(static_cast<float>(20.0 + 5.0 * std::sin(frame / 30.0)));
  const std::uint32_t row = number / kColumns;
  payload.Number(static_cast<float>(number % kColumns) * 0.1F - 6.4F);
  payload.Number(static_cast<float>(row) * 0.05F);
}

/// Three maps of one frame, each a buffer of the chain.
std::vector<OutMbufData> FeatureMaps(std::span<const std::uint8_t> pixels) {
  constexpr std::uint32_t kMap = 16384;  // bytes
  std::vector<OutMbufData> maps;
  for (std::size_t i = 0; i < 3; ++i) {
    maps.push_back({pixels.subspan(i * kMap).data(), kMap});
  }
  return maps;
}

}  // namespace

int RunCamera(Schedule& schedule) {
  constexpr auto kFrame = std::chrono::nanoseconds(std::chrono::seconds(1)) / 30;
  com::NodeHandle node("/camera");
  Feed image(node, "/camera/front/image");
  Feed objects(node, "/camera/front/objects");
  Feed features(node, "/camera/front/features");
  Feed points(node, "/camera/front/points", std::endian::big);
  if (!image.Ok() || !objects.Ok() || !features.Ok() || !points.Ok()) {
    return 1;
  }
  const Stripes stripes;
  std::uint32_t frame = 0;
  schedule.Every(kFrame, [&] {
    image.Payload().Number(++frame).Number(kWidth).Number(kHeight).Number(PixelFormat::kGrey8);
    image.Payload().Count(kPixels).Raw(stripes.Frame(frame));
    image.Send();
    const double seconds = frame / 30.0;
    objects.Payload().Count(3);
    WriteObject(objects.Payload(), 1, ObjectKind::kCar, seconds);
    WriteObject(objects.Payload(), 2, ObjectKind::kPedestrian, seconds);
    WriteObject(objects.Payload(), 3, ObjectKind::kSign, seconds);
    objects.Send();
  });
  schedule.Every(std::chrono::milliseconds(100), [&] {
    constexpr std::uint32_t kPoints = 8333;  // 100 KB
    points.Payload().Count(kPoints * kPointSize);
    for (std::uint32_t i = 0; i < kPoints; ++i) {
      WritePoint(points.Payload(), i, frame);
    }
    points.Send();
    features.Payload().Number(frame);
    features.SendWith(FeatureMaps(stripes.Frame(frame)));
  });
  schedule.Run();
  return 0;
}

}  // namespace qor::demo
