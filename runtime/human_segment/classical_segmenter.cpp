// SPDX-License-Identifier: MIT
#include "human_segment/classical_segmenter.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "common/log.h"
#include "human_segment/status.h"

namespace quorin::hs {

namespace {

// Scene models kept per instance: enough for a few filters sharing one module instance.
constexpr size_t kMaxScenes = 4;
const cv::Size kThumb(32, 18);
// A cut changes most of the picture at once; a person moving changes a part of it.
constexpr double kCutShare = 0.5;
// A person walks into view over several frames; a quarter of the known background changing
// between one frame and the next is a cut, even between two look-alike rooms.
constexpr float kCutJump = 0.25f;
constexpr uint8_t kNever = 255;
// Frames a neighbourhood must stay still, away from any person, before its colours count as
// background.
constexpr int kConfirmFrames = 6;
// Background follows slow light changes with this weight per frame.
constexpr float kLearnRate = 1.0f / 32.0f;
// The detector runs this often while part of the background is still unseen.
constexpr int kDetectEvery = 8;
// Daimler detector scores: the sample figure scores about 2.2 to 3.5, clutter at most 1.6.
constexpr double kDetectScore = 1.8;
// Frames for which the detector's answer holds even where things move.
constexpr int kFreshPrior = 3;
// A person fills well under this share of their grown detector box.
constexpr double kMostOfTheBox = 0.65;
// GrabCut works on at most this many pixels; larger regions are shrunk for it.
constexpr int kGrabCutPixels = 24000;

enum Evidence : uint8_t {
  kBackground,  // matches the known background
  kShadow,      // a darker copy of the known background
  kChanged,     // differs from the known background
  kMoving,      // background unseen, changing now
  kRecent,      // background unseen, changed in the last frame (resolved by Classify)
  kUnknown,     // background unseen, still
};

// Squared colour distance from the background that makes a pixel part of a person: well
// beyond the noise of three channels of two noisy pictures; the constant covers the model's
// own error.
float EnterLevel(float sigma) { return 16.0f * (3.0f * 2.0f * sigma * sigma + 12.0f); }

// Swaps the thread's OpenCV generator for a fixed one while it lives.
class FixedRng {
 public:
  FixedRng() : callers_(cv::theRNG()) { cv::theRNG() = cv::RNG(0x5EED); }
  ~FixedRng() { cv::theRNG() = callers_; }
  FixedRng(const FixedRng&) = delete;
  FixedRng& operator=(const FixedRng&) = delete;

 private:
  cv::RNG callers_;
};

// The part of a detection `r` at fractions (x, y, width, height) of its size, within `frame`.
cv::Rect Part(const cv::Rect2d& r, double x, double y, double width, double height,
              const cv::Rect& frame) {
  return cv::Rect(cvRound(r.x + x * r.width), cvRound(r.y + y * r.height), cvRound(width * r.width),
                  cvRound(height * r.height)) &
         frame;
}

cv::Mat Kernel(int shape, int size) {
  return cv::getStructuringElement(shape, cv::Size(size, size));
}

}  // namespace

struct ClassicalSegmenter::Scene {
  Scene(const cv::Mat& frame, cv::Size input) : size(frame.size()), inputSize(input) {
    frame.convertTo(background, CV_32FC3);
    runMean = background.clone();
    known = cv::Mat::zeros(size, CV_8U);
    quiet = cv::Mat::zeros(size, CV_8U);
    areaQuiet = cv::Mat::zeros(size, CV_8U);
    sinceMotion = cv::Mat(size, CV_8U, cv::Scalar(kNever));
    previous = frame.clone();
    foreground = cv::Mat::zeros(size, CV_8U);
    soft = cv::Mat::zeros(size, CV_32F);
    people = cv::Mat::zeros(size, CV_8U);
    prior = cv::Mat::zeros(size, CV_8U);
    evidence = cv::Mat::zeros(size, CV_8U);
  }

  cv::Size size;       // working size
  cv::Size inputSize;  // the frames' own size: another size is another clip
  int frames = 0;
  int sinceDetect = kDetectEvery;
  float noise = 0.0f;         // sensor noise of one channel, in levels at the working size
  cv::Mat background;         // CV_32FC3
  cv::Mat runMean;            // CV_32FC3, mean colour of the pixel's current still run
  cv::Mat known;              // 1 where the background has been seen
  cv::Mat quiet;              // frames since the pixel last changed (saturating)
  cv::Mat areaQuiet;          // frames since anything near the pixel changed
  cv::Mat sinceMotion;        // like quiet, but kNever until the pixel has changed once
  cv::Mat previous;           // last frame, CV_8UC3
  cv::Mat foreground;         // last decision, 0 or 1
  cv::Mat soft;               // last soft mask, 0..1
  cv::Mat people;             // the detector's last boxes: 1 grown box, 2 core
  cv::Mat prior;              // GrabCut's person in those boxes, 0 or 1
  int priorAge = 255;         // frames since the prior was made
  float changedShare = 0.0f;  // share of the known background away from the person that
                              // differed from it last frame
  cv::Mat evidence;           // Evidence per pixel, this frame
  cv::Mat thumb;              // last frame, tiny, for telling clips apart
};

ClassicalSegmenter::ClassicalSegmenter(const ClassicalSettings& settings)
    : settings_(settings),
      detector_(cv::Size(48, 96), cv::Size(16, 16), cv::Size(8, 8), cv::Size(8, 8), 9) {
  if (settings_.peopleDetector) {
    detector_.setSVMDetector(cv::HOGDescriptor::getDaimlerPeopleDetector());
  }
  if (!settings_.faceCascade.empty()) {
    // The default cascade is optional: without it people are found by motion and shape.
    try {
      findFaces_ =
          (settings_.faceCascadeRequired || std::filesystem::exists(settings_.faceCascade)) &&
          faces_.load(settings_.faceCascade);
    } catch (const cv::Exception&) {
      findFaces_ = false;  // not a cascade; OpenCV's own words would not tell the user that
    }
    if (!findFaces_ && settings_.faceCascadeRequired) {
      throw Failure(kModelUnreadable,
                    "face cascade '" + settings_.faceCascade + "' cannot be loaded");
    }
    if (!findFaces_) {
      Log(kLogInfo, "human_segment: no face cascade at %s", settings_.faceCascade.c_str());
    }
  }
}

ClassicalSegmenter::~ClassicalSegmenter() = default;

cv::Size ClassicalSegmenter::InputSize() const {
  if (lastSize_.width > 0) return lastSize_;
  return cv::Size(settings_.workingSize, settings_.workingSize);
}

ClassicalSegmenter::Scene& ClassicalSegmenter::SceneFor(const cv::Mat& small, cv::Size input) {
  cv::Mat thumb;
  cv::resize(small, thumb, kThumb, 0, 0, cv::INTER_AREA);
  size_t best = scenes_.size();
  double bestChange = 1.0;
  for (size_t i = 0; i < scenes_.size(); ++i) {
    if (scenes_[i]->inputSize != input) continue;
    cv::Mat diff;
    cv::absdiff(thumb, scenes_[i]->thumb, diff);
    diff = diff.reshape(1, diff.rows * diff.cols);
    cv::reduce(diff, diff, 1, cv::REDUCE_MAX);
    const double change = cv::countNonZero(diff > 24) / double(diff.rows);
    if (change < bestChange) {
      bestChange = change;
      best = i;
    }
  }
  if (best == scenes_.size() || bestChange > kCutShare) return NewScene(small, input, thumb);
  if (best != 0) std::rotate(scenes_.begin(), scenes_.begin() + best, scenes_.begin() + best + 1);
  Scene& scene = *scenes_[0];
  // Two shots of one room can look alike in a thumbnail; a cut still shows as much of the
  // known background changing at once, away from where the person was.
  if (scene.frames > 0 && LooksLikeACut(scene, small)) return NewScene(small, input, thumb);
  scene.thumb = thumb;
  return scene;
}

ClassicalSegmenter::Scene& ClassicalSegmenter::NewScene(const cv::Mat& small, cv::Size input,
                                                        const cv::Mat& thumb) {
  Log(kLogInfo, "human_segment: new scene at %dx%d", small.cols, small.rows);
  // The scene it replaces stays cached: interleaved clips each keep their own model.
  scenes_.insert(scenes_.begin(), std::make_unique<Scene>(small, input));
  if (scenes_.size() > kMaxScenes) scenes_.pop_back();
  scenes_[0]->thumb = thumb;
  return *scenes_[0];
}

bool ClassicalSegmenter::LooksLikeACut(Scene& s, const cv::Mat& small) const {
  cv::Mat person;
  const int reach = std::max(3, (s.size.width + s.size.height) / 40);
  cv::dilate(s.foreground, person, Kernel(cv::MORPH_RECT, 2 * reach + 1));
  const float limit = EnterLevel(std::max(s.noise, 0.7f));
  int seen = 0, changed = 0;
  // Every other pixel of every other row is plenty for a share.
  for (int y = 0; y < s.size.height; y += 2) {
    const cv::Vec3b* in = small.ptr<cv::Vec3b>(y);
    const cv::Vec3f* bg = s.background.ptr<cv::Vec3f>(y);
    const uint8_t* known = s.known.ptr<uint8_t>(y);
    const uint8_t* near = person.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; x += 2) {
      if (!known[x] || near[x]) continue;
      ++seen;
      const cv::Vec3f d = cv::Vec3f(in[x][0], in[x][1], in[x][2]) - bg[x];
      changed += d.dot(d) > limit;
    }
  }
  if (seen < 64) return false;
  const float share = float(changed) / seen;
  const bool cut = share > kCutShare || share - s.changedShare > kCutJump;
  s.changedShare = share;
  return cut;
}

void ClassicalSegmenter::FindPeople(Scene& s) {
  s.people.setTo(0);
  s.prior.setTo(0);
  s.priorAge = 0;
  // The detector's window is 48x96: enlarge small pictures so people of a third of the
  // picture's height are found. Pictures too small for a person are not searched.
  const double enlarge = std::clamp(300.0 / small_.rows, 1.0, 2.5);
  if (small_.rows * enlarge < 96 || small_.cols * enlarge < 48) return;
  const cv::Rect frame(cv::Point(0, 0), s.size);
  // The detectors collect windows on worker threads, so their order changes from run to run;
  // all boxes go in before any core, so that the order cannot matter.
  std::vector<std::pair<cv::Rect, cv::Rect>> windows;  // grown, core
  if (settings_.peopleDetector) {
    cv::Mat picture = small_;
    if (enlarge > 1.0) {
      cv::resize(small_, picture, cv::Size(), enlarge, enlarge, cv::INTER_LINEAR);
    }
    std::vector<cv::Rect> found;
    std::vector<double> scores;
    detector_.detectMultiScale(picture, found, scores, 0.5, cv::Size(8, 8), cv::Size(), 1.08, 2);
    for (size_t i = 0; i < found.size() && i < scores.size(); ++i) {
      if (scores[i] < kDetectScore) continue;
      const cv::Rect2d r(found[i].x / enlarge, found[i].y / enlarge, found[i].width / enlarge,
                         found[i].height / enlarge);
      // The window may hold only the legs and body of a person: the grown box reaches up for
      // the head and out for the arms. Nothing in it becomes background while it stands.
      const cv::Rect grown = Part(r, -0.1, -0.4, 1.2, 1.45, frame);
      const cv::Rect core = Part(r, 0.35, 0.2, 0.3, 0.6, frame);
      if (grown.area() > 0) windows.emplace_back(grown, core);
    }
  }
  // Faces are searched at the working size: a face of 16 pixels there is a small one already,
  // and the enlarged picture would double the cascade's time.
  if (findFaces_) FindFaces(frame, &windows);
  cv::Rect area;
  for (const auto& box : windows) {
    s.people(box.first).setTo(1);
    area = area.area() == 0 ? box.first : area | box.first;
  }
  for (const auto& box : windows) s.people(box.second).setTo(2);
  if (area.area() == 0) return;

  // Enough of the surroundings for GrabCut to learn what the background looks like.
  const int margin = std::max(8, area.width / 2);
  const cv::Rect roi =
      (area + cv::Size(2 * margin, 2 * margin) - cv::Point(margin, margin)) & frame;
  // Classic GrabCut first: the grown boxes probably the person, the rest surely not. When
  // background inside a box looks like nothing outside it, that keeps most of the box, more
  // than a person fills; then only the cores count as the person and the rest of the boxes
  // as probably background, which finds less but never claims the box.
  cv::Mat labels = CutPeople(s, roi, true);
  const cv::Mat boxes = s.people(roi) > 0;
  if (!labels.empty() &&
      cv::countNonZero(labels & boxes) > kMostOfTheBox * cv::countNonZero(boxes)) {
    labels = CutPeople(s, roi, false);
  }
  if (labels.empty()) return;
  cv::Mat prior = s.prior(roi);
  for (int y = 0; y < roi.height; ++y) {
    const uint8_t* label = labels.ptr<uint8_t>(y);
    const uint8_t* box = s.people.ptr<uint8_t>(roi.y + y) + roi.x;
    uint8_t* out = prior.ptr<uint8_t>(y);
    for (int x = 0; x < roi.width; ++x) out[x] = box[x] ? (label[x] & 1) : 0;
  }
}

void ClassicalSegmenter::FindFaces(const cv::Rect& frame,
                                   std::vector<std::pair<cv::Rect, cv::Rect>>* windows) {
  cv::Mat grey;
  cv::cvtColor(small_, grey, cv::COLOR_BGR2GRAY);
  cv::equalizeHist(grey, grey);
  std::vector<cv::Rect> found;
  // Four neighbours keep textures (shelves, foliage) from passing for faces.
  faces_.detectMultiScale(grey, found, 1.1, 4, 0, cv::Size(16, 16));
  for (const cv::Rect2d r : found) {
    // A body hangs below a face: shoulders some three faces wide, a standing person about
    // eight faces tall. Only the face itself and the chest under it are surely the person.
    const cv::Rect grown = Part(r, -1.3, -0.5, 3.6, 8.5, frame);
    const cv::Rect head = Part(r, 0.2, 0.1, 0.6, 0.8, frame);
    const cv::Rect chest = Part(r, 0.1, 1.5, 0.8, 1.5, frame);
    if (grown.area() == 0) continue;
    windows->emplace_back(grown, head);
    windows->emplace_back(grown, chest);
  }
}

cv::Mat ClassicalSegmenter::CutPeople(const Scene& s, const cv::Rect& roi, bool wholeBox) {
  cv::Mat labels(roi.size(), CV_8U);
  int back = 0, person = 0;
  for (int y = 0; y < roi.height; ++y) {
    const uint8_t* evidence = s.evidence.ptr<uint8_t>(roi.y + y) + roi.x;
    const uint8_t* box = s.people.ptr<uint8_t>(roi.y + y) + roi.x;
    uint8_t* label = labels.ptr<uint8_t>(y);
    for (int x = 0; x < roi.width; ++x) {
      uint8_t l = cv::GC_BGD;
      if (evidence[x] == kBackground || evidence[x] == kShadow) {
        l = cv::GC_BGD;
      } else if (box[x] == 2 || (box[x] == 1 && wholeBox)) {
        l = cv::GC_PR_FGD;
      } else if (box[x] == 1) {
        l = cv::GC_PR_BGD;
      }
      label[x] = l;
      back += l == cv::GC_BGD || l == cv::GC_PR_BGD;
      person += l == cv::GC_PR_FGD;
    }
  }
  // GrabCut needs colours of both sides to build its models.
  if (back < 32 || person < 32) return cv::Mat();
  cv::Mat picture = small_(roi);
  const double shrink = std::min(1.0, std::sqrt(double(kGrabCutPixels) / roi.area()));
  if (shrink < 1.0) {
    cv::resize(picture, picture, cv::Size(), shrink, shrink, cv::INTER_AREA);
    cv::resize(labels, labels, picture.size(), 0, 0, cv::INTER_NEAREST);
  }
  cv::Mat bgdModel, fgdModel;
  {
    // GrabCut seeds its k-means from the thread's generator: a fixed one makes the answer the
    // same on every thread and run, and the caller's generator is left as it was.
    const FixedRng fixed;
    cv::grabCut(picture, labels, cv::Rect(), bgdModel, fgdModel, 3, cv::GC_INIT_WITH_MASK);
  }
  if (shrink < 1.0) cv::resize(labels, labels, roi.size(), 0, 0, cv::INTER_NEAREST);
  return labels & 1;
}

void ClassicalSegmenter::Process(const cv::Mat& bgra, cv::Mat& mask) {
  const double scale =
      std::min(1.0, double(settings_.workingSize) / std::max(bgra.cols, bgra.rows));
  const cv::Size working(std::max(8, cvRound(bgra.cols * scale)),
                         std::max(8, cvRound(bgra.rows * scale)));
  lastSize_ = working;
  cv::resize(bgra, shrunk_, working, 0, 0, cv::INTER_AREA);
  cv::cvtColor(shrunk_, small_, cv::COLOR_BGRA2BGR);
  Scene& s = SceneFor(small_, bgra.size());

  // The same picture again (a paused or re-rendered frame) gets the same mask and teaches
  // nothing: counting it as time passing would make a still person look like background.
  if (s.frames > 0 && cv::norm(small_, s.previous, cv::NORM_INF) == 0) {
    Output(s.soft, mask);
    return;
  }

  EstimateNoise(s);
  Classify(s);
  EraseGhosts(s);
  if (s.priorAge < 255) ++s.priorAge;
  // Young scenes know little background yet, so the detector looks more often.
  const int every = s.frames < 8 * kFreshPrior ? kFreshPrior + 1 : kDetectEvery;
  if ((settings_.peopleDetector || findFaces_) && ++s.sinceDetect >= every &&
      cv::countNonZero(s.known) < s.size.area() * 98 / 100) {
    // While nothing in the people found has moved, the last answer stands: asking again
    // would only let noise change it.
    const bool holds = s.priorAge < 255 && cv::countNonZero(s.people) > 0 &&
                       cv::countNonZero((s.people > 0) & (s.areaQuiet < s.priorAge)) == 0;
    if (!holds) FindPeople(s);
    s.sinceDetect = 0;
  }
  cv::Mat decided = Decide(s);
  Clean(decided);
  Learn(s, decided);

  cv::Mat soft;
  decided.convertTo(soft, CV_32F);
  cv::GaussianBlur(soft, soft, cv::Size(5, 5), 0.9);
  // Where nothing moves, average with the last mask: noise then cannot make the outline
  // shimmer. Where something moves, the mask is this frame's alone.
  for (int y = 0; y < s.size.height; ++y) {
    float* now = soft.ptr<float>(y);
    const float* before = s.soft.ptr<float>(y);
    const uint8_t* still = s.areaQuiet.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; ++x) {
      if (still[x] >= 2) now[x] = 0.5f * (now[x] + before[x]);
    }
  }
  decided.copyTo(s.foreground);
  soft.copyTo(s.soft);
  small_.copyTo(s.previous);
  ++s.frames;
  Output(s.soft, mask);
}

void ClassicalSegmenter::EstimateNoise(Scene& s) {
  if (s.frames == 0) return;
  // The median change of the green channel: most pixels do not move, and for two noisy
  // samples median |a - b| = 0.6745 * sqrt(2) * sigma.
  int histogram[256] = {0};
  for (int y = 0; y < s.size.height; ++y) {
    const uint8_t* a = small_.ptr<uint8_t>(y);
    const uint8_t* b = s.previous.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; ++x) ++histogram[std::abs(a[3 * x + 1] - b[3 * x + 1])];
  }
  int count = 0, median = 0;
  while (median < 255 && (count += histogram[median]) < s.size.area() / 2) ++median;
  const float estimate = (median + 0.5f) / 0.954f;
  s.noise = s.frames == 1 ? estimate : 0.9f * s.noise + 0.1f * estimate;
}

void ClassicalSegmenter::Classify(Scene& s) {
  const float sigma = std::max(s.noise, 0.7f);
  // A change is motion when it is well beyond what noise does to the difference of two frames.
  const float motionLevel = std::max(6.0f, 4.5f * 1.414f * sigma);
  // Pixels already in the person need less to stay in it.
  enter_ = EnterLevel(sigma);
  stay_ = 7.0f / 16.0f * enter_;
  const bool first = s.frames == 0;

  for (int y = 0; y < s.size.height; ++y) {
    const cv::Vec3b* in = small_.ptr<cv::Vec3b>(y);
    const cv::Vec3b* before = s.previous.ptr<cv::Vec3b>(y);
    const cv::Vec3f* bg = s.background.ptr<cv::Vec3f>(y);
    cv::Vec3f* run = s.runMean.ptr<cv::Vec3f>(y);
    const uint8_t* known = s.known.ptr<uint8_t>(y);
    uint8_t* quiet = s.quiet.ptr<uint8_t>(y);
    uint8_t* since = s.sinceMotion.ptr<uint8_t>(y);
    const uint8_t* was = s.foreground.ptr<uint8_t>(y);
    uint8_t* evidence = s.evidence.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; ++x) {
      const cv::Vec3f colour(in[x][0], in[x][1], in[x][2]);
      int change = 0;
      for (int c = 0; c < 3; ++c) change = std::max(change, std::abs(in[x][c] - before[x][c]));
      if (!first && change > motionLevel) {
        quiet[x] = 0;
        since[x] = 0;
        run[x] = colour;
      } else {
        if (quiet[x] < 255) ++quiet[x];
        if (since[x] < kNever - 1) ++since[x];
        run[x] += (colour - run[x]) * (1.0f / std::min<float>(quiet[x] + 1, 16.0f));
      }
      if (!known[x]) {
        evidence[x] = since[x] == 0 ? kMoving : since[x] == 1 ? kRecent : kUnknown;
        continue;
      }
      const cv::Vec3f d = colour - bg[x];
      if (d.dot(d) <= (was[x] ? stay_ : enter_)) {
        evidence[x] = kBackground;
        continue;
      }
      // A darker copy of the background with the same hue is a shadow, not a person.
      const float bb = bg[x].dot(bg[x]);
      const float ratio = bb > 1.0f ? colour.dot(bg[x]) / bb : 0.0f;
      const cv::Vec3f off = colour - bg[x] * ratio;
      const bool shadow =
          ratio > 0.45f && ratio < 0.95f && off.dot(off) <= 0.5f * stay_ + 0.002f * bb;
      evidence[x] = shadow ? kShadow : kChanged;
    }
  }

  // A pixel that changed a frame ago but not now is part of something moving when it lies
  // inside the outline of what moves now (a flat patch), and background just uncovered
  // behind it otherwise.
  const int inside = std::max(5, (s.size.width + s.size.height) / 60) | 1;
  cv::Mat hull;
  cv::morphologyEx(s.evidence == kMoving, hull, cv::MORPH_CLOSE, Kernel(cv::MORPH_ELLIPSE, inside));
  for (int y = 0; y < s.size.height; ++y) {
    uint8_t* evidence = s.evidence.ptr<uint8_t>(y);
    const uint8_t* within = hull.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; ++x) {
      if (evidence[x] == kRecent) evidence[x] = within[x] ? kMoving : kUnknown;
    }
  }

  // Inside a flat-coloured moving part a pixel can look still; only a still neighbourhood
  // shows that nothing moving covers it.
  cv::Mat moving = s.quiet == 0;
  if (first) moving.setTo(0);
  const int reach = std::max(3, (s.size.width + s.size.height) / 100);
  cv::dilate(moving, moving, Kernel(cv::MORPH_RECT, 2 * reach + 1));
  s.areaQuiet += 1;  // saturates at 255
  s.areaQuiet.setTo(0, moving);
}

void ClassicalSegmenter::EraseGhosts(Scene& s) {
  // A ghost is a region where the model still holds something that has left: its outline is
  // an edge of the model and not of the frame, where a real person's outline is an edge of
  // the frame and not of the model. Each changed region's outline votes; a still region that
  // votes clearly for ghost goes back to the background as a whole. Deciding per region, not
  // per pixel, keeps one noisy pixel from starting a chain through a person who stands still.
  const cv::Mat changed = s.evidence == kChanged;
  cv::Mat labels;
  const int regions = cv::connectedComponents(changed, labels, 8, CV_32S);
  if (regions < 2) return;
  std::vector<int> ghost(regions, 0), person(regions, 0), moving(regions, 0), area(regions, 0);
  const int w = s.size.width, h = s.size.height;
  for (int y = 0; y < h; ++y) {
    const int* label = labels.ptr<int>(y);
    const uint8_t* quiet = s.quiet.ptr<uint8_t>(y);
    const cv::Vec3b* in = small_.ptr<cv::Vec3b>(y);
    const cv::Vec3f* model = s.background.ptr<cv::Vec3f>(y);
    for (int x = 0; x < w; ++x) {
      const int l = label[x];
      if (l == 0) continue;
      ++area[l];
      if (quiet[x] < 3) ++moving[l];
      static const int kSteps[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
      for (const auto& step : kSteps) {
        const int nx = x + step[0], ny = y + step[1];
        if (nx < 0 || ny < 0 || nx >= w || ny >= h) continue;
        if (s.evidence.at<uint8_t>(ny, nx) != kBackground) continue;
        const cv::Vec3b& there = small_.at<cv::Vec3b>(ny, nx);
        const cv::Vec3f frameStep(float(in[x][0] - there[0]), float(in[x][1] - there[1]),
                                  float(in[x][2] - there[2]));
        const cv::Vec3f modelStep = model[x] - s.background.at<cv::Vec3f>(ny, nx);
        const float inFrame = frameStep.dot(frameStep), inModel = modelStep.dot(modelStep);
        if (inModel > 0.5f * enter_ && inModel > 4.0f * inFrame) ++ghost[l];
        if (inFrame > 0.5f * enter_ && inFrame > 4.0f * inModel) ++person[l];
      }
    }
  }
  std::vector<uint8_t> erase(regions, 0);
  bool any = false;
  for (int l = 1; l < regions; ++l) {
    erase[l] = moving[l] * 10 < area[l] && ghost[l] >= 6 && ghost[l] > 3 * person[l];
    any = any || erase[l];
  }
  if (!any) return;
  for (int y = 0; y < h; ++y) {
    const int* label = labels.ptr<int>(y);
    uint8_t* evidence = s.evidence.ptr<uint8_t>(y);
    const cv::Vec3b* in = small_.ptr<cv::Vec3b>(y);
    cv::Vec3f* model = s.background.ptr<cv::Vec3f>(y);
    for (int x = 0; x < w; ++x) {
      if (!erase[label[x]]) continue;
      evidence[x] = kBackground;
      model[x] = cv::Vec3f(in[x][0], in[x][1], in[x][2]);
    }
  }
}

cv::Mat ClassicalSegmenter::Decide(Scene& s) {
  // Still pixels whose background is unseen take the detector's GrabCut answer for a few
  // frames, and after that as long as nothing near them has moved since it was given.
  const int age = s.priorAge;
  cv::Mat decided(s.size, CV_8U);
  for (int y = 0; y < s.size.height; ++y) {
    const uint8_t* evidence = s.evidence.ptr<uint8_t>(y);
    const uint8_t* prior = s.prior.ptr<uint8_t>(y);
    const uint8_t* still = s.areaQuiet.ptr<uint8_t>(y);
    uint8_t* out = decided.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; ++x) {
      const uint8_t e = evidence[x];
      out[x] = e == kChanged || e == kMoving ||
               (e == kUnknown && prior[x] && (still[x] >= age || age <= kFreshPrior));
    }
  }
  return decided;
}

void ClassicalSegmenter::Clean(cv::Mat& decided) const {
  const int w = decided.cols, h = decided.rows;
  cv::morphologyEx(decided, decided, cv::MORPH_OPEN, Kernel(cv::MORPH_RECT, 3));
  cv::morphologyEx(decided, decided, cv::MORPH_CLOSE, Kernel(cv::MORPH_ELLIPSE, 5));
  // Fill small holes (background enclosed by the person); drop specks of foreground.
  cv::Mat labels, stats, centroids;
  const int holes = cv::connectedComponentsWithStats(decided == 0, labels, stats, centroids, 4);
  std::vector<uint8_t> value(holes, 0);
  for (int i = 1; i < holes; ++i) {
    const int* st = stats.ptr<int>(i);
    const bool border = st[cv::CC_STAT_LEFT] == 0 || st[cv::CC_STAT_TOP] == 0 ||
                        st[cv::CC_STAT_LEFT] + st[cv::CC_STAT_WIDTH] == w ||
                        st[cv::CC_STAT_TOP] + st[cv::CC_STAT_HEIGHT] == h;
    value[i] = !border && st[cv::CC_STAT_AREA] < w * h / 400;
  }
  for (int y = 0; y < h; ++y) {
    const int* label = labels.ptr<int>(y);
    uint8_t* out = decided.ptr<uint8_t>(y);
    for (int x = 0; x < w; ++x) out[x] |= value[label[x]];
  }
  const int parts = cv::connectedComponentsWithStats(decided, labels, stats, centroids, 8);
  value.assign(parts, 0);
  for (int i = 1; i < parts; ++i) value[i] = stats.at<int>(i, cv::CC_STAT_AREA) >= w * h / 1500;
  for (int y = 0; y < h; ++y) {
    const int* label = labels.ptr<int>(y);
    uint8_t* out = decided.ptr<uint8_t>(y);
    for (int x = 0; x < w; ++x) out[x] = value[label[x]];
  }
}

void ClassicalSegmenter::Learn(Scene& s, const cv::Mat& decided) {
  // Known background follows the light; an unseen pixel becomes background once its whole
  // neighbourhood has stayed still long enough, away from any person.
  cv::Mat guard;
  cv::dilate(decided | (s.people > 0), guard, Kernel(cv::MORPH_ELLIPSE, 5));
  for (int y = 0; y < s.size.height; ++y) {
    const cv::Vec3b* in = small_.ptr<cv::Vec3b>(y);
    cv::Vec3f* bg = s.background.ptr<cv::Vec3f>(y);
    const cv::Vec3f* run = s.runMean.ptr<cv::Vec3f>(y);
    uint8_t* known = s.known.ptr<uint8_t>(y);
    const uint8_t* still = s.areaQuiet.ptr<uint8_t>(y);
    const uint8_t* near = guard.ptr<uint8_t>(y);
    const uint8_t* evidence = s.evidence.ptr<uint8_t>(y);
    for (int x = 0; x < s.size.width; ++x) {
      if (near[x]) continue;
      if (known[x]) {
        if (evidence[x] == kBackground) {
          bg[x] += (cv::Vec3f(in[x][0], in[x][1], in[x][2]) - bg[x]) * kLearnRate;
        }
      } else if (still[x] >= kConfirmFrames) {
        bg[x] = run[x];
        known[x] = 1;
      }
    }
  }
}

void ClassicalSegmenter::Output(const cv::Mat& soft, cv::Mat& mask) const {
  cv::Mat bytes;
  soft.convertTo(bytes, CV_8U, 255.0);
  cv::resize(bytes, mask, mask.size(), 0, 0, cv::INTER_LINEAR);
}

}  // namespace quorin::hs
