#include "components/sampler/voices/interpolator.hpp"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "tests/sampler/sine_fit.hpp"

namespace vesk::sampler {
namespace {

using namespace vesk::tests;

constexpr unsigned frames = 4096;

/// A sine of so many turns an input frame, at another rate.
std::vector<float> resampled(double turns, double ratio, bool is_stereo = false) {
  std::vector<float> input(static_cast<std::size_t>(frames * ratio) + window_frames + 2);
  for (std::size_t i = 0; i < input.size(); ++i)
    input[i] = static_cast<float>(std::sin(2 * std::numbers::pi * turns * static_cast<double>(i)));
  std::vector<float> output(frames), other(frames);
  const SincKernels& kernels = SincKernels::shared();
  const Course course{one_frame / 3, static_cast<FixedFrames>(ratio * one_frame), 0};
  if (is_stereo) {
    const std::vector<float> silence(input.size());
    const float* const inputs[2] = {silence.data(), input.data()};
    float* const outputs[2] = {other.data(), output.data()};
    kernels.stereo(kernels.for_ratio(ratio), inputs, course, outputs, frames);
    for (const float value : other) EXPECT_EQ(value, 0);
  } else {
    kernels.mono(kernels.for_ratio(ratio), input.data(), course, output.data(), frames);
  }
  return output;
}

struct Transposition {
  const char* name;
  double ratio;
  double flat_to, clean_to;  ///< turns an input frame
};
void PrintTo(const Transposition& each, std::ostream* stream) {
  *stream << each.name;
}

class Interpolator : public testing::TestWithParam<Transposition> {};

// A sweep in steps, over the whole band of the sample. Nothing but the tone may be in the output,
// and no tone that the output has no room for.
TEST_P(Interpolator, ASweepHasNoImagesAbove90DecibelsBelowIt) {
  const auto& [name, ratio, flat_to, clean_to] = GetParam();
  for (double turns = 0.001; turns < clean_to; turns += 0.0037) {
    for (const bool is_stereo : {false, true}) {
      const auto output = resampled(turns, ratio, is_stereo);
      const double heard = turns * ratio;
      const SineFit fit = fit_sine(output, heard < 0.5 ? heard : 0.1);
      if (heard < 0.5) {
        EXPECT_LT(decibels(fit.rest), -90) << turns;
        EXPECT_LT(decibels(fit.level), 0.05) << turns;
      } else {
        EXPECT_LT(decibels(std::hypot(fit.level, fit.rest)), -90) << turns;
      }
      if (turns < flat_to) EXPECT_GT(decibels(fit.level), -0.05) << turns;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, Interpolator,
                         testing::Values(Transposition{"TwoOctavesDown", 0.25, 0.44, 0.451},
                                         Transposition{"AnOctaveDown", 0.5, 0.44, 0.451},
                                         Transposition{"From44To48kHz", 44100.0 / 48000, 0.44,
                                                       0.451},
                                         Transposition{"AFifthUp", 1.4983, 0.26, 0.5},
                                         Transposition{"AnOctaveUp", 2, 0.19, 0.5},
                                         Transposition{"ThreeOctavesUp", 8, 0.01, 0.5}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(InterpolatorCourse, FramesAtTheirOwnRateAreUntouched) {
  std::vector<float> input(400), output(200);
  for (std::size_t i = 0; i < input.size(); ++i) input[i] = static_cast<float>(i * i % 97);
  const SincKernels& kernels = SincKernels::shared();
  kernels.mono(kernels.for_ratio(1), input.data(), {5 * one_frame, one_frame, 0}, output.data(),
               200);
  for (unsigned i = 0; i < 200; ++i) ASSERT_EQ(output[i], input[i + 5 + window_centre]);
}

// What a glide reads in blocks goes on where the block before ended.
TEST(InterpolatorCourse, APositionIsTheSumOfItsSteps) {
  Course course{123, one_frame * 3 / 2, -one_frame / 1000};
  FixedFrames sum = course.position;
  for (unsigned i = 0; i < 64; ++i) sum += course.step + i * course.step_change;
  EXPECT_EQ(course.after(64), sum);
}

}  // namespace
}  // namespace vesk::sampler
