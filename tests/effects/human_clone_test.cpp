// SPDX-License-Identifier: MIT
// The clone family end to end through the exported filter API, with the test-double module (the
// person mask is the source's alpha), against the compositing rule written out plainly here.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "effect_reference.h"
#include "imaging/person_rows.h"

using namespace kaztest;

namespace {

constexpr char kColor[] = "5AB0767D-6728-4E27-AEC4-82F33B3768B7";
constexpr char kUnfold[] = "287AE196-B470-469A-A501-FF3CF6FA6014";
constexpr char kWingLeft[] = "7BA41F8B-598C-40FF-B8AB-E4234F2D3D1C";
constexpr char kWingRight[] = "DD7311D4-C0F8-4B39-BDBD-5F93109ACA5C";

// A copy of the person: pixel (x, y) shows the person at (x - dx, y - dy) when that is inside.
struct Copy {
  int dx, dy, alpha;
  uint8_t tint[3];
};

cv::Mat Clones(const cv::Mat& src, const cv::Mat& person, const std::vector<Copy>& copies) {
  cv::Mat out = src.clone();
  for (int y = 0; y < src.rows; ++y)
    for (int x = 0; x < src.cols; ++x) {
      // The pixel rules are proven exhaustively in the imaging tests; here, which person pixel
      // each copy lays, with what alpha and tint, in what order.
      uint8_t* c = out.ptr(y) + 4 * x;
      for (const Copy& k : copies) {
        const int sx = x - k.dx, sy = y - k.dy;
        if (sx < 0 || sx >= src.cols || sy < 0 || sy >= src.rows) continue;
        imageC::rows::cloneLayer<false>(person.ptr(sy) + 4 * sx, c, 1, k.alpha, k.tint);
      }
      imageC::rows::personOnTop<false>(person.ptr(y) + 4 * x, c, 1);
    }
  return out;
}

struct Swing {
  int frame;
  int64_t num, den;
  float speed, far, near;
  int alphaFar, alphaNear;
};

float Seconds(const Swing& s) {
  const int64_t fps = s.num / (s.den < 1 ? 1 : s.den);
  return fps > 0 ? static_cast<float>(s.frame) / static_cast<float>(fps) : 0.0f;
}

std::vector<Copy> SwingCopies(const char* guid, const Swing& s, int w) {
  const float t = Seconds(s), v = std::fabs(std::sin(t * s.speed));
  // Offsets and alphas outside their ranges are clamped into them.
  const int f = std::clamp(static_cast<int>(v * s.far * static_cast<float>(w)), 0, w);
  const int n = std::clamp(static_cast<int>(v * s.near * static_cast<float>(w)), 0, w);
  const int F = std::clamp(s.alphaFar, 0, 255), N = std::clamp(s.alphaNear, 0, 255);
  if (std::string(guid) == kColor)
    return {{f, 0, F, {218, 124, 133}},
            {-f, 0, F, {218, 124, 133}},
            {n, 0, N, {223, 120, 238}},
            {-n, 0, N, {238, 131, 120}}};
  return {{-f, 0, F, {255, 255, 255}},
          {-n, 0, N, {255, 255, 255}},
          {f, 0, F, {255, 255, 255}},
          {n, 0, N, {255, 255, 255}}};
}

class SwingingClones : public ::testing::TestWithParam<std::tuple<const char*, Swing>> {};

TEST_P(SwingingClones, ClonesMatchTheRule) {
  const auto& [guid, s] = GetParam();
  UseMaskFromChannel(3);
  const cv::Mat src = Source(96, 72, 6);
  Filter f(guid);
  f.Float("speed", s.speed).Float("distFar", s.far).Float("distNear", s.near);
  f.Int("alphaRadioF", s.alphaFar).Int("alphaRadioN", s.alphaNear);
  NLEEffectFilterSetFrameRate(f.f, s.num, s.den);
  NLEEffectFilterSetCurrentTime(f.f, s.frame);
  const cv::Mat out = f.Run(src);
  ASSERT_EQ(f.result, 0);
  const bool off = std::string(guid) == kColor && !(Seconds(s) > 0.0f);
  const cv::Mat expected = off ? src : Clones(src, PersonOf(src), SwingCopies(guid, s, 96));
  EXPECT_EQ(CountDifferent(out, expected), 0);
}

const float kPi = 3.14159265f;
const Swing kSwings[] = {
    {7, 25, 1, 2.5f, 0.5f, 0.3f, 127, 200},   // t = 0.28: both pairs out
    {0, 25, 1, 2.5f, 0.5f, 0.3f, 127, 200},   // t = 0: colour clones off, unfold under the person
    {25, 25, 1, kPi, 0.5f, 0.3f, 127, 200},   // t * speed = pi: offsets 0
    {9, 25, 1, 2.5f, 0.5f, 0.3f, 0, 255},     // invisible far clones, near at the person's alpha
    {9, 25, 1, 2.5f, 1.5f, 0.3f, 127, 200},   // far offset beyond the width: no far columns
    {9, 25, 0, 2.5f, 0.5f, 0.3f, 127, 200},   // denominator 0 counts as 1
    {9, 50, -3, 2.5f, 0.5f, 0.3f, 127, 200},  // negative denominator too
    {9, 0, 1, 2.5f, 0.5f, 0.3f, 127, 200},    // integer rate 0: t = 0
    {-4, 25, 1, 2.5f, 0.5f, 0.3f, 127, 200},  // before the clip: negative t
    {9, 30000, 1001, 2.5f, -0.4f, 0.3f, 300, -20},  // 29 fps; negative distance, alphas clamped
};

INSTANTIATE_TEST_SUITE_P(Effects, SwingingClones,
                         ::testing::Combine(::testing::Values(kColor, kUnfold),
                                            ::testing::ValuesIn(kSwings)));

// The wings' documented geometry: opening |sin(pi t / L)| with L = (80 - 10 speed) / 40 seconds
// (open when L <= 0); feather k lies k * dist% of the width * (1/4 + 3/4 opening) to the side and
// k * dist% of half the height * opening up; alpha 255 - 48k; farthest first.
std::vector<Copy> WingCopies(int side, float t, int speed, int dist, int w, int h) {
  const float beat = static_cast<float>(80.0 - speed * 10.0), L = beat / 40.0f;
  const float open = L > 0 ? std::fabs(std::sin(kPi * t / L)) : 1.0f;
  const float d = static_cast<float>(std::clamp(dist, 0, 100));
  const float across = d * w / 100.0f * (0.25f + 0.75f * open), up = d * h / 200.0f * open;
  const uint8_t tints[4][3] = {{255, 236, 214}, {250, 210, 170}, {240, 180, 130}, {230, 150, 100}};
  std::vector<Copy> copies;
  for (int k = 4; k >= 1; --k) {
    const int dx = std::min(w, static_cast<int>(static_cast<float>(k) * across));
    const int dy = std::min(h, static_cast<int>(static_cast<float>(k) * up));
    copies.push_back(
        {side * dx, -dy, 255 - 48 * k, {tints[k - 1][0], tints[k - 1][1], tints[k - 1][2]}});
  }
  return copies;
}

TEST(WingClones, FeathersFanOutOnTheNamedSide) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(120, 80, 7);
  struct {
    int frame, speed, dist;
  } const cases[] = {{0, 0, 5}, {13, 0, 5}, {13, 3, 12}, {40, 0, 5}, {13, 9, 30}, {13, 2, 500}};
  for (const char* guid : {kWingLeft, kWingRight})
    for (const auto& c : cases) {
      Filter f(guid);
      f.Int("speed", c.speed).Int("dist", c.dist);
      NLEEffectFilterSetCurrentTime(f.f, c.frame);  // 25 frames a second by default
      const float t = static_cast<float>(c.frame) / 25.0f;
      const int side = std::string(guid) == kWingLeft ? -1 : 1;
      EXPECT_EQ(CountDifferent(f.Run(src), Clones(src, PersonOf(src),
                                                  WingCopies(side, t, c.speed, c.dist, 120, 80))),
                0)
          << guid << " frame " << c.frame << " speed " << c.speed;
    }
}

TEST(CloneFamily, AReadySegmentationAndAnInPlaceFrameGiveTheSameClones) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(96, 72, 8), ready = PersonOf(Source(96, 72, 9));
  const Swing s{7, 25, 1, 2.5f, 0.5f, 0.3f, 127, 200};
  for (const char* guid : {kColor, kUnfold}) {
    Filter f(guid);
    NLEEffectFilterSetCurrentTime(f.f, s.frame);
    Receiver receiver(ready);
    f.Lend(&receiver);
    const cv::Mat expected = Clones(src, ready, SwingCopies(guid, s, 96));
    EXPECT_EQ(CountDifferent(f.Run(src), expected), 0) << guid;
    cv::Mat frame = src.clone();
    ASSERT_EQ(f.RunInPlace(frame), 0);
    EXPECT_EQ(CountDifferent(frame, expected), 0) << guid << " in place";
  }
}

}  // namespace
