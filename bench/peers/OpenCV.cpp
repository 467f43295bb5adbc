// SPDX-License-Identifier: Apache-2.0
#include "Picture.h"
#include "peers/Peers.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <vector>

namespace vek::bench {
namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;

template <class T>
cv::Mat pictureMat(SSize size, int channels) {
    cv::Mat mat(static_cast<int>(size.height), static_cast<int>(size.width),
                CV_MAKETYPE(sizeof(T) == 1 ? CV_8U : CV_16U, channels));
    CPicture<T>({size}, static_cast<std::size_t>(channels)).Fill(mat.ptr<T>());
    return mat;
}

/// call(source, destination); the first call makes the destination.
template <class T, class Call>
SPeer peer(const char* operation, const char* name, int channels, Call call) {
    return {
        operation, kBits<T>, name, [=](SSize size) {
            return SJob{[call, src = pictureMat<T>(size, channels), dst = cv::Mat()]() mutable { call(src, dst); }, {}};
        }};
}

/// The same with a second source: a picture of one channel.
template <class T, class Call>
SPeer peerOfTwo(const char* operation, const char* name, Call call) {
    return {operation, kBits<T>, name, [=](SSize size) {
                return SJob{[call, src = pictureMat<T>(size, 1), other = pictureMat<T>(size, 1),
                             dst = cv::Mat()]() mutable { call(src, other, dst); },
                            {}};
            }};
}

template <class T>
SPeer convert(const char* operation, const char* name, int channels, int code) {
    return peer<T>(operation, name, channels, [=](const cv::Mat& src, cv::Mat& dst) { cv::cvtColor(src, dst, code); });
}

// OpenCV names the second row's second and third sample: its BG is RGGB.
template <class T>
void addDemosaics(Peers* peers) {
    peers->push_back(convert<T>("demosaic BilinearSimple", "OpenCV cvtColor BayerBG2BGR", 1, cv::COLOR_BayerBG2BGR));
    peers->push_back(convert<T>("demosaic BilinearFalseColorReduction", "OpenCV cvtColor BayerBG2BGR_EA", 1,
                                cv::COLOR_BayerBG2BGR_EA));
}

/// The curve of a gamma of 2.2.
cv::Mat curve() {
    cv::Mat table(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        table.at<Byte>(i) = cv::saturate_cast<Byte>(std::pow(i / 255.0, 1 / 2.2) * 255);
    }
    return table;
}

/// The curve for the first of three channels, the others as they are.
cv::Mat lumaCurve() {
    cv::Mat identity(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        identity.at<Byte>(i) = static_cast<Byte>(i);
    }
    cv::Mat table;
    cv::merge(std::vector<cv::Mat>{curve(), identity, identity}, table);
    return table;
}

cv::Mat matrix() {
    return (cv::Mat_<float>(3, 4) << 1.5F, -0.4F, -0.1F, 0, -0.35F, 1.6F, -0.25F, 0, -0.2F, -0.3F, 1.5F, 0);
}

cv::Mat sharpeningKernel() {
    return (cv::Mat_<float>(3, 3) << -0.1F, -0.1F, -0.1F, -0.1F, 1.8F, -0.1F, -0.1F, -0.1F, -0.1F);
}

void sharpen(const cv::Mat& src, cv::Mat& dst) {
    cv::Mat blurred;
    cv::GaussianBlur(src, blurred, {3, 3}, 0);
    cv::addWeighted(src, 1.8, blurred, -0.8, 0, dst);
}

template <class T>
void addStages(Peers* peers) {
    peers->push_back(peer<T>("white balance", "OpenCV multiply", 1,
                             [](const cv::Mat& src, cv::Mat& dst) { cv::multiply(src, cv::Scalar(1.5), dst); }));
    peers->push_back(peer<T>("colour matrix BGR", "OpenCV transform", 3,
                             [m = matrix()](const cv::Mat& src, cv::Mat& dst) { cv::transform(src, dst, m); }));
    peers->push_back(peer<T>(
        "sharpness BGR", "OpenCV filter2D 3x3", 3,
        [kernel = sharpeningKernel()](const cv::Mat& src, cv::Mat& dst) { cv::filter2D(src, dst, -1, kernel); }));
    peers->push_back(peer<T>("sharpness BGR", "OpenCV GaussianBlur, addWeighted", 3, sharpen));
    for (const char* const operation : {"easy noise filter mono", "easy noise filter Bayer"}) {
        peers->push_back(peer<T>(operation, "OpenCV medianBlur 3", 1,
                                 [](const cv::Mat& src, cv::Mat& dst) { cv::medianBlur(src, dst, 3); }));
    }
    peers->push_back(
        peerOfTwo<T>("dark subtraction with repair", "OpenCV subtract",
                     [](const cv::Mat& src, const cv::Mat& dark, cv::Mat& dst) { cv::subtract(src, dark, dst); }));
    // Gains of so many bits that 1 lies in the middle of the range.
    constexpr double unit = sizeof(T) == 1 ? 1.0 / 128 : 1.0 / 2048;
    peers->push_back(
        peerOfTwo<T>("shading gain", "OpenCV multiply", [=](const cv::Mat& src, const cv::Mat& gains, cv::Mat& dst) {
            cv::multiply(src, gains, dst, unit);
        }));
}

template <class T>
SPeer flip(const char* operation, const char* name, int axis) {
    return peer<T>(operation, name, 1, [=](const cv::Mat& src, cv::Mat&) {
        cv::Mat image = src; // the same samples: in place, as the operation
        cv::flip(image, image, axis);
    });
}

template <class T>
void addGeometry(Peers* peers) {
    peers->push_back(flip<T>("mirror H", "OpenCV flip 1", 1));
    peers->push_back(flip<T>("mirror HV", "OpenCV flip -1", -1));
    peers->push_back(flip<T>("mirror V", "OpenCV flip 0", 0));
    peers->push_back(peer<T>("rotation", "OpenCV rotate", 1,
                             [](const cv::Mat& src, cv::Mat& dst) { cv::rotate(src, dst, cv::ROTATE_90_CLOCKWISE); }));
    peers->push_back(peer<T>("average of samples", "OpenCV mean", 1, [](const cv::Mat& src, const cv::Mat&) {
        cv::Scalar mean = cv::mean(src);
        benchmark::DoNotOptimize(mean);
    }));
}

/// The nearest function of each stage, one after the other.
SPeer chain(const char* operation) {
    return {operation, 8, "OpenCV, the stages' peers", [](SSize size) {
                return SJob{[src = pictureMat<Byte>(size, 1), dark = pictureMat<Byte>(size, 1),
                             gains = pictureMat<Byte>(size, 1), table = curve(), m = matrix(), raw = cv::Mat(),
                             bgr = cv::Mat(), other = cv::Mat()]() mutable {
                                cv::subtract(src, dark, raw);
                                cv::multiply(raw, gains, raw, 1.0 / 128);
                                cv::multiply(raw, cv::Scalar(1.5), raw);
                                cv::LUT(raw, table, raw);
                                cv::cvtColor(raw, bgr, cv::COLOR_BayerBG2BGR);
                                cv::transform(bgr, other, m);
                                sharpen(other, bgr);
                            },
                            {}};
            }};
}

/// The same of words that become bytes: levels, demosaic method, matrix, tone; corrected: with shading and sharpness.
SPeer development(const char* operation, bool corrected) {
    return {operation, 16, "OpenCV, the stages' peers", [=](SSize size) {
                return SJob{[corrected, src = pictureMat<Word>(size, 1), gains = pictureMat<Word>(size, 1),
                             table = curve(), m = matrix(), raw = cv::Mat(), bgr = cv::Mat(), other = cv::Mat(),
                             bytes = cv::Mat()]() mutable {
                                if (corrected) {
                                    cv::multiply(src, gains, raw, 1.0 / 2048);
                                }
                                (corrected ? raw : src).convertTo(raw, CV_16U, 1.1, -168);
                                cv::cvtColor(raw, bgr, cv::COLOR_BayerBG2BGR);
                                cv::transform(bgr, other, m);
                                other.convertTo(bytes, CV_8U, 1.0 / 16);
                                cv::LUT(bytes, table, bytes);
                                if (corrected) {
                                    sharpen(bytes, bgr);
                                }
                            },
                            {}};
            }};
}

} // namespace

SLibrary openCv() {
    cv::setNumThreads(1);
    SLibrary library{"OpenCV " + cv::getVersionString(), {}};
    Peers& peers = library.peers;
    addDemosaics<Byte>(&peers);
    addDemosaics<Word>(&peers);
    peers.push_back(convert<Byte>("demosaic BiCubic", "OpenCV cvtColor BayerBG2BGR_VNG", 1, cv::COLOR_BayerBG2BGR_VNG));
    peers.push_back(convert<Byte>("YCrCb 4:2:2 to BGR", "OpenCV cvtColor YUV2BGR_YUY2", 2, cv::COLOR_YUV2BGR_YUY2));
    peers.push_back(convert<Byte>("YCrCb 4:4:4 to BGR", "OpenCV cvtColor YCrCb2BGR", 3, cv::COLOR_YCrCb2BGR));
    addStages<Byte>(&peers);
    addStages<Word>(&peers);
    peers.push_back(peer<Byte>("white balance", "OpenCV LUT", 1,
                               [table = curve()](const cv::Mat& src, cv::Mat& dst) { cv::LUT(src, table, dst); }));
    peers.push_back(peer<Byte>("raw gamma", "OpenCV LUT", 1,
                               [table = curve()](const cv::Mat& src, cv::Mat& dst) { cv::LUT(src, table, dst); }));
    peers.push_back(peer<Byte>("luma gamma BGR", "OpenCV cvtColor, LUT, cvtColor", 3,
                               [table = lumaCurve()](const cv::Mat& src, cv::Mat& dst) {
                                   cv::cvtColor(src, dst, cv::COLOR_BGR2YCrCb);
                                   cv::LUT(dst, table, dst);
                                   cv::cvtColor(dst, dst, cv::COLOR_YCrCb2BGR);
                               }));
    addGeometry<Byte>(&peers);
    addGeometry<Word>(&peers);
    peers.push_back(peer<Word>("words to 8 bit", "OpenCV convertTo", 1,
                               [](const cv::Mat& src, cv::Mat& dst) { src.convertTo(dst, CV_8U, 1.0 / 16); }));
    peers.push_back(chain("chain"));
    peers.push_back(chain("plan: the chain's stages"));
    peers.push_back(development("plan: levels, bilinear, linear matrix, tone", false));
    peers.push_back(development("plan: with shading, sharpness", true));
    return library;
}

} // namespace vek::bench
