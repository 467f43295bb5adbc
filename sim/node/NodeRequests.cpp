// SPDX-License-Identifier: Apache-2.0
// Requests of CVideoNode that have nothing to do with buffers: formats, controls, events.
#include "sim/node/VideoNode.h"

#include "sim/node/PixelFormats.h"

#include "VekTrgApi.h"
#include "device/DriverAbi.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace vek::sim {

namespace {

constexpr std::uint32_t kInterfaceVersion = (6U << 16) | (1U << 8); // the V4L2 interface as of this kernel version
constexpr std::string_view kInput = "Camera 0";
// Frame intervals that the rate can be set to, seconds.
constexpr double kShortestInterval = 1e-5;
constexpr double kLongestInterval = 1000;

template <std::size_t N>
void copyText(std::string_view text, std::uint8_t (&out)[N]) {
    std::memset(out, 0, N);
    std::memcpy(out, text.data(), std::min(text.size(), N - 1));
}

/// An interval as a fraction, to the microsecond and better.
v4l2_fract fractionOf(double seconds) {
    // Whole numbers of frames a second stay whole.
    const double rate = 1 / seconds;
    if (rate >= 1 && std::fabs(rate - std::round(rate)) < 1e-9 * rate) {
        return {1, static_cast<std::uint32_t>(std::lround(rate))};
    }
    constexpr std::uint32_t kParts = 1000000;
    return {static_cast<std::uint32_t>(std::lround(seconds * kParts)), kParts};
}

/// Requests that another file's higher priority keeps from changing the camera.
bool isGuarded(unsigned long request) {
    switch (request) {
    case VIDIOC_S_FMT:
    case VIDIOC_S_PARM:
    case VIDIOC_S_SELECTION:
    case VIDIOC_S_CROP:
    case VIDIOC_S_CTRL:
    case VIDIOC_S_EXT_CTRLS:
    case VIDIOC_S_INPUT:
    case VIDIOC_REQBUFS:
    case VIDIOC_CREATE_BUFS:
    case VIDIOC_STREAMON:
    case VIDIOC_STREAMOFF:
    case VIDIOC_S_PRIORITY:
        return true;
    default:
        return false;
    }
}

bool isPrivate(unsigned long request) {
    return request == VIDIOC_G_DEVICE_DESCRIPTION || request == VIDIOC_G_ROI_INFO ||
           request == VIDIOC_S_DEFECT_PIXEL_POSITION;
}

bool isFrameShape(std::uint32_t control) {
    return control == VEK_CID_TRANSFER_FORMAT || control == VEK_CID_BINNING_H || control == VEK_CID_BINNING_V;
}

} // namespace

bool CVideoNode::Knows(unsigned long request) {
    switch (request) {
    case VIDIOC_QUERYCAP:
    case VIDIOC_ENUM_FMT:
    case VIDIOC_G_FMT:
    case VIDIOC_S_FMT:
    case VIDIOC_TRY_FMT:
    case VIDIOC_ENUM_FRAMESIZES:
    case VIDIOC_ENUM_FRAMEINTERVALS:
    case VIDIOC_G_PARM:
    case VIDIOC_S_PARM:
    case VIDIOC_ENUMINPUT:
    case VIDIOC_G_INPUT:
    case VIDIOC_S_INPUT:
    case VIDIOC_G_SELECTION:
    case VIDIOC_S_SELECTION:
    case VIDIOC_CROPCAP:
    case VIDIOC_G_CROP:
    case VIDIOC_S_CROP:
    case VIDIOC_G_PRIORITY:
    case VIDIOC_S_PRIORITY:
    case VIDIOC_QUERYCTRL:
    case VIDIOC_QUERY_EXT_CTRL:
    case VIDIOC_QUERYMENU:
    case VIDIOC_G_CTRL:
    case VIDIOC_S_CTRL:
    case VIDIOC_G_EXT_CTRLS:
    case VIDIOC_S_EXT_CTRLS:
    case VIDIOC_TRY_EXT_CTRLS:
    case VIDIOC_SUBSCRIBE_EVENT:
    case VIDIOC_UNSUBSCRIBE_EVENT:
    case VIDIOC_DQEVENT:
    case VIDIOC_REQBUFS:
    case VIDIOC_CREATE_BUFS:
    case VIDIOC_QUERYBUF:
    case VIDIOC_PREPARE_BUF:
    case VIDIOC_QBUF:
    case VIDIOC_DQBUF:
    case VIDIOC_EXPBUF:
    case VIDIOC_STREAMON:
    case VIDIOC_STREAMOFF:
        return true;
    default:
        return isPrivate(request);
    }
}

int CVideoNode::Ioctl(NodeFile file, unsigned long request, void* argument) {
    const std::lock_guard<std::mutex> lock(mMutex);
    // The kernel takes 32 bits of the number; a caller that kept it in an int sends the sign as well.
    const unsigned long number = request & 0xFFFFFFFFUL;
    const auto found = mFiles.find(file);
    if (found == mFiles.end() || found->second.gone || !mPlugged) {
        return -ENODEV;
    }
    SendDue();
    SFile& open = found->second;
    if (open.gone) {
        return -ENODEV;
    }
    const auto fault = mSetup.faults.requests.find(++mRequests);
    if (fault != mSetup.faults.requests.end()) {
        return -fault->second;
    }
    if (isPrivate(number)) {
        return mCamera->Ioctl(number, argument);
    }
    if (number == VIDIOC_G_CTRL || number == VIDIOC_S_CTRL) {
        if (argument == nullptr) {
            return mCamera->Ioctl(number, argument);
        }
        if (number == VIDIOC_S_CTRL && HighestPriority() > open.priority) {
            return -EBUSY;
        }
        return -Control(file, number == VIDIOC_S_CTRL, *static_cast<v4l2_control*>(argument));
    }
    const int result = mCamera->Serve(number, [&] {
        if (!Knows(number)) {
            return ENOTTY;
        }
        if (argument == nullptr) {
            return EFAULT;
        }
        if (isGuarded(number) && HighestPriority() > open.priority) {
            return EBUSY;
        }
        return Answer(open, file, number, argument);
    });
    // Who waits asks again: that is one request.
    mRequests -= result == -EAGAIN && Waits(number) ? 1 : 0;
    return result;
}

int CVideoNode::Answer(SFile& file, NodeFile id, unsigned long request, void* argument) {
    switch (request) {
    case VIDIOC_QUERYCAP:
        return Capability(*static_cast<v4l2_capability*>(argument));
    case VIDIOC_ENUM_FMT:
        return EnumFormat(*static_cast<v4l2_fmtdesc*>(argument));
    case VIDIOC_G_FMT:
    case VIDIOC_S_FMT:
    case VIDIOC_TRY_FMT:
        return Format(request, *static_cast<v4l2_format*>(argument));
    case VIDIOC_ENUM_FRAMESIZES:
        return EnumSize(*static_cast<v4l2_frmsizeenum*>(argument));
    case VIDIOC_ENUM_FRAMEINTERVALS:
        return EnumInterval(*static_cast<v4l2_frmivalenum*>(argument));
    case VIDIOC_G_PARM:
    case VIDIOC_S_PARM:
        return Parameters(request == VIDIOC_S_PARM, *static_cast<v4l2_streamparm*>(argument));
    case VIDIOC_ENUMINPUT: {
        auto& input = *static_cast<v4l2_input*>(argument);
        if (input.index != 0) {
            return EINVAL;
        }
        input = {};
        copyText(kInput, input.name);
        input.type = V4L2_INPUT_TYPE_CAMERA;
        return 0;
    }
    case VIDIOC_G_INPUT:
        *static_cast<int*>(argument) = 0;
        return 0;
    case VIDIOC_S_INPUT:
        return *static_cast<const int*>(argument) == 0 ? 0 : EINVAL;
    case VIDIOC_G_SELECTION:
    case VIDIOC_S_SELECTION:
        return Selection(request == VIDIOC_S_SELECTION, *static_cast<v4l2_selection*>(argument));
    case VIDIOC_CROPCAP:
    case VIDIOC_G_CROP:
    case VIDIOC_S_CROP:
        return LegacyCrop(request, argument);
    case VIDIOC_G_PRIORITY:
        *static_cast<std::uint32_t*>(argument) = HighestPriority();
        return 0;
    case VIDIOC_S_PRIORITY:
        return SetPriority(file, *static_cast<const std::uint32_t*>(argument));
    case VIDIOC_QUERYCTRL:
    case VIDIOC_QUERY_EXT_CTRL: {
        const std::uint32_t wanted = *static_cast<const std::uint32_t*>(argument); // id stands in front in both
        const SNodeControl* const control = queriedControl(mControls, wanted);
        if (control == nullptr) {
            return EINVAL;
        }
        if (request == VIDIOC_QUERYCTRL) {
            describe(*control, *static_cast<v4l2_queryctrl*>(argument));
        } else {
            describe(*control, *static_cast<v4l2_query_ext_ctrl*>(argument));
        }
        return 0;
    }
    case VIDIOC_QUERYMENU:
        return Menu(*static_cast<v4l2_querymenu*>(argument));
    case VIDIOC_G_EXT_CTRLS:
    case VIDIOC_S_EXT_CTRLS:
    case VIDIOC_TRY_EXT_CTRLS:
        return ExtendedControls(id, request, *static_cast<v4l2_ext_controls*>(argument));
    case VIDIOC_SUBSCRIBE_EVENT:
        return Subscribe(file, *static_cast<const v4l2_event_subscription*>(argument));
    case VIDIOC_UNSUBSCRIBE_EVENT: {
        const auto& subscription = *static_cast<const v4l2_event_subscription*>(argument);
        file.events.Unsubscribe(subscription.type, subscription.id);
        return 0;
    }
    case VIDIOC_DQEVENT: {
        const std::optional<v4l2_event> event = file.events.Take();
        if (!event) {
            return EAGAIN;
        }
        *static_cast<v4l2_event*>(argument) = *event;
        return 0;
    }
    default:
        return AnswerBuffers(id, request, argument);
    }
}

int CVideoNode::Capability(v4l2_capability& capability) const {
    capability = {};
    copyText("vekcam-sim", capability.driver);
    copyText(mSetup.card.empty() ? mCamera->Model().name : std::string_view(mSetup.card), capability.card);
    copyText(mSetup.busInfo, capability.bus_info);
    capability.version = kInterfaceVersion;
    capability.device_caps = (mSetup.multiPlanar ? V4L2_CAP_VIDEO_CAPTURE_MPLANE : V4L2_CAP_VIDEO_CAPTURE) |
                             V4L2_CAP_READWRITE | V4L2_CAP_STREAMING | V4L2_CAP_EXT_PIX_FORMAT;
    capability.capabilities = capability.device_caps | V4L2_CAP_DEVICE_CAPS;
    return 0;
}

// --- Formats ---------------------------------------------------------------------------------------------------------

int CVideoNode::EnumFormat(v4l2_fmtdesc& description) const {
    const std::vector<unsigned long> formats = offeredFormats(mCamera->ColorArray());
    if (!IsCapture(description.type) || description.index >= formats.size()) {
        return EINVAL;
    }
    const std::uint32_t index = description.index;
    description = {};
    description.index = index;
    description.type = mType;
    description.pixelformat = fourCcOf(formats[index], mCamera->ColorArray());
    copyText(formatDescription(formats[index], mCamera->ColorArray()), description.description);
    return 0;
}

std::vector<std::pair<unsigned, unsigned>> CVideoNode::Sizes() const {
    std::vector<std::pair<unsigned, unsigned>> sizes;
    for (unsigned code = 0; code <= 2; ++code) {
        const SRectangle full = mCamera->FullFrame(code, code);
        if (full.width > 0 && full.height > 0) {
            sizes.emplace_back(full.width, full.height);
        }
    }
    return sizes;
}

void CVideoNode::SetSize(unsigned width, unsigned height) {
    for (unsigned code = 0; code <= 2; ++code) {
        const SRectangle full = mCamera->FullFrame(code, code);
        if (full.width == width && full.height == height) {
            mCamera->SetBinning(code, code);
            return;
        }
    }
}

void CVideoNode::FillFormat(v4l2_format& format, unsigned long transferFormat, unsigned width, unsigned height) const {
    const bool ycrcb = isYCrCb(transferFormat);
    const bool bt709 = isBt709(transferFormat);
    const std::uint32_t colorspace = ycrcb ? V4L2_COLORSPACE_SRGB : V4L2_COLORSPACE_RAW;
    const std::uint32_t encoding = !ycrcb ? V4L2_YCBCR_ENC_DEFAULT : bt709 ? V4L2_YCBCR_ENC_709 : V4L2_YCBCR_ENC_601;
    const std::uint32_t quantization = !ycrcb  ? V4L2_QUANTIZATION_DEFAULT
                                       : bt709 ? V4L2_QUANTIZATION_LIM_RANGE
                                               : V4L2_QUANTIZATION_FULL_RANGE;
    const std::uint32_t transfer = ycrcb ? V4L2_XFER_FUNC_NONE : V4L2_XFER_FUNC_DEFAULT; // linear light
    const auto rowBytes = static_cast<std::uint32_t>(transferRowBytes(transferFormat, width));
    // Regions that arrive as blocks are the camera's current ones only.
    const bool current =
        width == mCamera->Width() && height == mCamera->Height() && transferFormat == mCamera->TransferFormat();
    const auto bytes = static_cast<std::uint32_t>(current ? mCamera->FrameSize()
                                                          : vek::sim::frameBytes(transferFormat, width, height));
    const std::uint32_t code = fourCcOf(transferFormat, mCamera->ColorArray());
    format = {};
    format.type = mType;
    if (mSetup.multiPlanar) {
        v4l2_pix_format_mplane& pixels = format.fmt.pix_mp;
        pixels.width = width;
        pixels.height = height;
        pixels.pixelformat = code;
        pixels.field = V4L2_FIELD_NONE;
        pixels.colorspace = colorspace;
        pixels.num_planes = 1;
        pixels.plane_fmt[0].bytesperline = rowBytes;
        pixels.plane_fmt[0].sizeimage = bytes;
        pixels.ycbcr_enc = static_cast<std::uint8_t>(encoding);
        pixels.quantization = static_cast<std::uint8_t>(quantization);
        pixels.xfer_func = static_cast<std::uint8_t>(transfer);
    } else {
        v4l2_pix_format& pixels = format.fmt.pix;
        pixels.width = width;
        pixels.height = height;
        pixels.pixelformat = code;
        pixels.field = V4L2_FIELD_NONE;
        pixels.colorspace = colorspace;
        pixels.bytesperline = rowBytes;
        pixels.sizeimage = bytes;
        pixels.priv = V4L2_PIX_FMT_PRIV_MAGIC;
        pixels.ycbcr_enc = encoding;
        pixels.quantization = quantization;
        pixels.xfer_func = transfer;
    }
}

int CVideoNode::Format(unsigned long request, v4l2_format& format) {
    if (!IsCapture(format.type)) {
        return EINVAL;
    }
    if (request == VIDIOC_G_FMT) {
        FillFormat(format, mCamera->TransferFormat(), mCamera->Width(), mCamera->Height());
        return 0;
    }
    // As drivers do: what cannot be is answered with what comes nearest.
    const v4l2_pix_format& pix = format.fmt.pix;
    const v4l2_pix_format_mplane& planes = format.fmt.pix_mp;
    const std::uint32_t code = mSetup.multiPlanar ? planes.pixelformat : pix.pixelformat;
    const std::uint32_t encoding = mSetup.multiPlanar ? planes.ycbcr_enc : pix.ycbcr_enc;
    const unsigned width = mSetup.multiPlanar ? planes.width : pix.width;
    const unsigned height = mSetup.multiPlanar ? planes.height : pix.height;
    const unsigned long current = mCamera->TransferFormat();
    const int colorArray = mCamera->ColorArray();
    const bool same =
        fourCcOf(current, colorArray) == code && (!isYCrCb(current) || encoding == V4L2_YCBCR_ENC_DEFAULT ||
                                                  isBt709(current) == (encoding == V4L2_YCBCR_ENC_709));
    const unsigned long wanted =
        same ? current : formatOf(code, colorArray, encoding == V4L2_YCBCR_ENC_709).value_or(current);
    std::vector<std::pair<unsigned, unsigned>> sizes = Sizes();
    sizes.insert(sizes.begin(), {mCamera->Width(), mCamera->Height()});
    const auto distance = [&](const std::pair<unsigned, unsigned>& size) {
        const auto apart = [](unsigned a, unsigned b) { return std::uint64_t{a > b ? a - b : b - a}; };
        return apart(size.first, width) + apart(size.second, height);
    };
    const auto [nearWidth, nearHeight] = *std::min_element(
        sizes.begin(), sizes.end(), [&](const auto& a, const auto& b) { return distance(a) < distance(b); });
    const bool resized = nearWidth != mCamera->Width() || nearHeight != mCamera->Height();
    if (request == VIDIOC_S_FMT) {
        if ((resized || wanted != current) && (mQueue.Count() > 0 || mReading)) {
            return EBUSY;
        }
        if (wanted != current) {
            mCamera->SetTransferFormat(wanted);
        }
        if (resized) {
            SetSize(nearWidth, nearHeight);
        }
    }
    FillFormat(format, wanted, nearWidth, nearHeight);
    return 0;
}

int CVideoNode::EnumSize(v4l2_frmsizeenum& size) const {
    // A driver that crops lists one size, that of all pixels as they are binned now: lists of several are for those
    // that have nothing in between. VIDIOC_S_FMT takes the other ones.
    if (!formatOf(size.pixel_format, mCamera->ColorArray(), false) || size.index > 0) {
        return EINVAL;
    }
    const SRectangle full = mCamera->FullFrame();
    size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
    size.discrete = {full.width, full.height};
    std::memset(size.reserved, 0, sizeof(size.reserved));
    return 0;
}

int CVideoNode::EnumInterval(v4l2_frmivalenum& interval) const {
    const std::vector<std::pair<unsigned, unsigned>> sizes = Sizes();
    const bool known = std::find(sizes.begin(), sizes.end(), std::pair(interval.width, interval.height)) != sizes.end();
    if (!known || !formatOf(interval.pixel_format, mCamera->ColorArray(), false) || interval.index != 0) {
        return EINVAL;
    }
    interval.type = V4L2_FRMIVAL_TYPE_CONTINUOUS;
    interval.stepwise.min = fractionOf(kShortestInterval);
    interval.stepwise.max = {static_cast<std::uint32_t>(kLongestInterval), 1};
    interval.stepwise.step = {1, 1};
    std::memset(interval.reserved, 0, sizeof(interval.reserved));
    return 0;
}

int CVideoNode::Parameters(bool set, v4l2_streamparm& parameters) {
    if (!IsCapture(parameters.type)) {
        return EINVAL;
    }
    if (set) {
        const v4l2_fract wanted = parameters.parm.capture.timeperframe;
        const bool given = wanted.numerator != 0 && wanted.denominator != 0;
        const double seconds = given ? static_cast<double>(wanted.numerator) / wanted.denominator : 0;
        mSetup.framesPerSecond = given ? 1 / std::clamp(seconds, kShortestInterval, kLongestInterval) : 0;
    }
    parameters = {};
    parameters.type = mType;
    v4l2_captureparm& capture = parameters.parm.capture;
    capture.capability = V4L2_CAP_TIMEPERFRAME;
    capture.timeperframe = fractionOf(static_cast<double>(Period().count()) / 1e9);
    capture.readbuffers = 1;
    return 0;
}

int CVideoNode::Selection(bool set, v4l2_selection& selection) {
    // Both interfaces take the type of the other here, as the kernel does.
    if (selection.type != V4L2_BUF_TYPE_VIDEO_CAPTURE && selection.type != V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE) {
        return EINVAL;
    }
    const SRectangle full = mCamera->FullFrame();
    const bool crop = selection.target == V4L2_SEL_TGT_CROP;
    const bool bounds = selection.target == V4L2_SEL_TGT_CROP_BOUNDS || selection.target == V4L2_SEL_TGT_CROP_DEFAULT;
    if ((!crop && !bounds) || (set && !crop)) {
        return EINVAL;
    }
    const auto out = [&](const SRectangle& area) {
        selection.r.left = static_cast<std::int32_t>(area.x);
        selection.r.top = static_cast<std::int32_t>(area.y);
        selection.r.width = area.width;
        selection.r.height = area.height;
        std::memset(selection.reserved, 0, sizeof(selection.reserved));
    };
    if (!set) {
        // Several regions are shown by what they cover.
        SRectangle area = full;
        if (crop) {
            const std::vector<SRectangle> rois = mCamera->EnabledRegions();
            unsigned right = 0;
            unsigned bottom = 0;
            for (const SRectangle& roi : rois) {
                area.x = right == 0 ? roi.x : std::min(area.x, roi.x);
                area.y = bottom == 0 ? roi.y : std::min(area.y, roi.y);
                right = std::max(right, roi.x + roi.width);
                bottom = std::max(bottom, roi.y + roi.height);
            }
            area.width = right - area.x;
            area.height = bottom - area.y;
        }
        out(area);
        return 0;
    }
    constexpr std::uint32_t kWays = V4L2_SEL_FLAG_GE | V4L2_SEL_FLAG_LE;
    if ((selection.flags & ~(kWays | V4L2_SEL_FLAG_KEEP_CONFIG)) != 0) {
        return EINVAL;
    }
    // Whole cells of the colour array; the nearest rectangle inside the frame that does what the flags want.
    const unsigned cell = mCamera->ColorArray() == 1 ? 1 : 2;
    const auto span = [&](std::int32_t first, std::uint32_t size, unsigned limit) {
        const bool grow = (selection.flags & V4L2_SEL_FLAG_GE) != 0;
        const std::uint64_t from =
            std::min<std::uint64_t>(first < 0 ? 0 : static_cast<std::uint64_t>(first), limit - cell);
        const std::uint64_t start = from / cell * cell;
        const std::uint64_t wanted =
            std::max<std::uint64_t>(grow ? (std::uint64_t{size} + cell - 1) / cell * cell : size / cell * cell, cell);
        const std::uint64_t length = std::min<std::uint64_t>(wanted, limit);
        const std::uint64_t moved = std::min<std::uint64_t>(start, (limit - length) / cell * cell);
        return std::pair(static_cast<unsigned>(moved), static_cast<unsigned>(length));
    };
    const auto [x, width] = span(selection.r.left, selection.r.width, full.width);
    const auto [y, height] = span(selection.r.top, selection.r.height, full.height);
    const SRectangle area{x, y, width, height};
    const bool below =
        (selection.flags & V4L2_SEL_FLAG_GE) != 0 && (width < selection.r.width || height < selection.r.height);
    const bool above =
        (selection.flags & V4L2_SEL_FLAG_LE) != 0 && (width > selection.r.width || height > selection.r.height);
    if (below || above) {
        return ERANGE;
    }
    const std::vector<SRectangle> rois = mCamera->EnabledRegions();
    if (rois.size() != 1 || !(rois.front() == area)) {
        if (mQueue.Count() > 0 || mReading) {
            return EBUSY;
        }
        if (area == full) {
            mCamera->SetFullFrame();
        } else {
            mCamera->SetRois({{true, area}});
        }
    }
    out(area);
    return 0;
}

int CVideoNode::LegacyCrop(unsigned long request, void* argument) {
    v4l2_selection selection{};
    selection.target = V4L2_SEL_TGT_CROP;
    if (request == VIDIOC_CROPCAP) {
        auto& capability = *static_cast<v4l2_cropcap*>(argument);
        selection.type = capability.type;
        selection.target = V4L2_SEL_TGT_CROP_BOUNDS;
        const int error = Selection(false, selection);
        if (error == 0) {
            capability.bounds = selection.r;
            capability.defrect = selection.r;
            capability.pixelaspect = {1, 1};
        }
        return error;
    }
    auto& crop = *static_cast<v4l2_crop*>(argument);
    selection.type = crop.type;
    selection.r = crop.c;
    const int error = Selection(request == VIDIOC_S_CROP, selection);
    if (error == 0) {
        crop.c = selection.r;
    }
    return error;
}

// --- Priorities and events -------------------------------------------------------------------------------------------

std::uint32_t CVideoNode::HighestPriority() const {
    std::uint32_t highest = V4L2_PRIORITY_UNSET;
    for (const auto& [id, file] : mFiles) {
        highest = file.gone ? highest : std::max(highest, file.priority);
    }
    return highest;
}

int CVideoNode::SetPriority(SFile& file, std::uint32_t priority) {
    if (priority != V4L2_PRIORITY_BACKGROUND && priority != V4L2_PRIORITY_INTERACTIVE &&
        priority != V4L2_PRIORITY_RECORD) {
        return EINVAL;
    }
    file.priority = priority;
    return 0;
}

int CVideoNode::Subscribe(SFile& file, const v4l2_event_subscription& subscription) {
    switch (subscription.type) {
    case V4L2_EVENT_EOS:
    case V4L2_EVENT_SOURCE_CHANGE:
        if (subscription.id != 0) {
            return EINVAL;
        }
        file.events.Subscribe(subscription.type, subscription.id, subscription.flags);
        return 0;
    case V4L2_EVENT_CTRL: {
        const SNodeControl* const control = queriedControl(mControls, subscription.id & V4L2_CTRL_ID_MASK);
        if (control == nullptr) {
            return EINVAL;
        }
        const bool fresh = file.events.Subscribe(subscription.type, subscription.id, subscription.flags);
        const bool heading = control->type == V4L2_CTRL_TYPE_CTRL_CLASS; // of which there is nothing to say
        if (fresh && !heading && (subscription.flags & V4L2_EVENT_SUB_FL_SEND_INITIAL) != 0) {
            v4l2_control value{control->id, 0};
            std::uint32_t changes = V4L2_EVENT_CTRL_CH_FLAGS;
            if (Value(value) == 0) {
                changes |= V4L2_EVENT_CTRL_CH_VALUE;
            }
            v4l2_event event = changeEvent(*control, value.value, changes);
            const NodeTime now = mSetup.now();
            event.timestamp.tv_sec = static_cast<decltype(event.timestamp.tv_sec)>(now.count() / 1000000000);
            event.timestamp.tv_nsec = static_cast<decltype(event.timestamp.tv_nsec)>(now.count() % 1000000000);
            file.events.Put(event);
            ++mArrivals;
        }
        return 0;
    }
    default:
        return EINVAL;
    }
}

// --- Controls --------------------------------------------------------------------------------------------------------

int CVideoNode::Menu(v4l2_querymenu& menu) const {
    const SNodeControl* const control = queriedControl(mControls, menu.id & V4L2_CTRL_ID_MASK);
    if (control == nullptr || menu.index >= control->menu.size()) {
        return EINVAL;
    }
    std::uint8_t name[sizeof(menu.name)];
    copyText(control->menu[menu.index], name);
    std::memcpy(menu.name, name, sizeof(name)); // the record is packed
    menu.reserved = 0;
    return 0;
}

/// Of the node's own controls, and exposure and gain. EINVAL: another one.
int CVideoNode::Value(v4l2_control& control) const {
    switch (control.id) {
    case V4L2_CID_EXPOSURE:
        control.value = static_cast<std::int32_t>(
            std::min<std::uint32_t>(mCamera->ExposureValue(), std::numeric_limits<std::int32_t>::max()));
        return 0;
    case V4L2_CID_GAIN:
        control.value = mCamera->GainValue();
        return 0;
    case V4L2_CID_MIN_BUFFERS_FOR_CAPTURE:
        control.value = queriedControl(mControls, control.id)->initial;
        return 0;
    case V4L2_CID_TEST_PATTERN:
        control.value = static_cast<std::int32_t>(mPattern);
        return 0;
    default:
        return EINVAL;
    }
}

int CVideoNode::Control(NodeFile id, bool set, v4l2_control& control) {
    const SNodeControl* const listed = queriedControl(mControls, control.id & V4L2_CTRL_ID_MASK);
    const unsigned long request = set ? VIDIOC_S_CTRL : VIDIOC_G_CTRL;
    const bool cameras = listed == nullptr || control.id == V4L2_CID_EXPOSURE || control.id == V4L2_CID_GAIN;
    if (!cameras) {
        return -mCamera->Serve(request, [&] {
            if (listed->type == V4L2_CTRL_TYPE_CTRL_CLASS || (set && (listed->flags & V4L2_CTRL_FLAG_READ_ONLY) != 0)) {
                return EACCES;
            }
            if (!set) {
                return Value(control);
            }
            return control.value < listed->minimum || control.value > listed->maximum ? ERANGE
                                                                                      : ApplyControl(id, control);
        });
    }
    if (set && isFrameShape(control.id) && mQueue.Count() > 0) {
        v4l2_control now{control.id, 0};
        if (mCamera->Ioctl(VIDIOC_G_CTRL, &now) == 0 && now.value != control.value) {
            return EBUSY; // the buffers have the size of frames as they are
        }
    }
    v4l2_control before{control.id, 0};
    const bool known = Value(before) == 0;
    const int error = -mCamera->Ioctl(request, &control);
    if (error == 0 && set) {
        if (isFrameShape(control.id)) {
            mReadable.clear();
        }
        if (known && before.value != control.value) {
            AnnounceValue(id, control.id, control.value);
        }
    }
    return error;
}

/// One of the listed controls that can be set, to a value in its range.
int CVideoNode::ApplyControl(NodeFile source, const v4l2_control& control) {
    v4l2_control before{control.id, 0};
    if (Value(before) != 0) {
        return EINVAL;
    }
    switch (control.id) {
    case V4L2_CID_EXPOSURE:
        mCamera->SetExposure(static_cast<std::uint32_t>(control.value));
        break;
    case V4L2_CID_GAIN:
        mCamera->SetGain(static_cast<std::uint16_t>(control.value));
        break;
    default:
        mPattern = static_cast<EPattern>(control.value);
        break;
    }
    if (before.value != control.value) {
        AnnounceValue(source, control.id, control.value);
    }
    return 0;
}

void CVideoNode::AnnounceValue(NodeFile source, std::uint32_t id, std::int32_t value) {
    Announce(source, true, changeEvent(*queriedControl(mControls, id), value, V4L2_EVENT_CTRL_CH_VALUE));
}

int CVideoNode::CheckExtended(unsigned long request, v4l2_ext_controls& controls) const {
    const bool set = request == VIDIOC_S_EXT_CTRLS;
    for (std::uint32_t i = 0; i < controls.count; ++i) {
        const v4l2_ext_control& control = controls.controls[i];
        // What is wrong with one of them before anything was set is not told when they are to be set.
        controls.error_idx = set ? controls.count : i;
        const SNodeControl* const listed = queriedControl(mControls, control.id & V4L2_CTRL_ID_MASK);
        const bool inClass = controls.which == V4L2_CTRL_WHICH_CUR_VAL || controls.which == V4L2_CTRL_WHICH_DEF_VAL ||
                             V4L2_CTRL_ID2WHICH(control.id) == controls.which;
        if (listed == nullptr || !inClass) {
            return EINVAL;
        }
        if (request == VIDIOC_G_EXT_CTRLS) {
            if ((listed->flags & V4L2_CTRL_FLAG_WRITE_ONLY) != 0) {
                return EACCES;
            }
            continue;
        }
        if ((listed->flags & V4L2_CTRL_FLAG_READ_ONLY) != 0) {
            return EACCES;
        }
        if (control.value < listed->minimum || control.value > listed->maximum) {
            return ERANGE;
        }
    }
    return 0;
}

int CVideoNode::ExtendedControls(NodeFile id, unsigned long request, v4l2_ext_controls& controls) {
    const bool defaults = controls.which == V4L2_CTRL_WHICH_DEF_VAL;
    controls.error_idx = controls.count;
    std::memset(controls.reserved, 0, sizeof(controls.reserved));
    if (controls.which == V4L2_CTRL_WHICH_REQUEST_VAL || (defaults && request != VIDIOC_G_EXT_CTRLS)) {
        return EINVAL;
    }
    if (controls.count == 0) {
        const bool known = controls.which == V4L2_CTRL_WHICH_CUR_VAL || defaults ||
                           std::any_of(mControls.begin(), mControls.end(), [&](const SNodeControl& control) {
                               return V4L2_CTRL_ID2WHICH(control.id) == controls.which;
                           });
        return known ? 0 : EINVAL;
    }
    if (controls.controls == nullptr) {
        return EFAULT;
    }
    if (const int error = CheckExtended(request, controls)) {
        if (request == VIDIOC_G_EXT_CTRLS) {
            controls.error_idx = controls.count;
        }
        return error;
    }
    if (request == VIDIOC_TRY_EXT_CTRLS) {
        return 0;
    }
    for (std::uint32_t i = 0; i < controls.count; ++i) {
        v4l2_ext_control& control = controls.controls[i];
        v4l2_control value{control.id, control.value};
        int error = 0;
        if (defaults) {
            value.value = queriedControl(mControls, control.id)->initial;
        } else if (request == VIDIOC_G_EXT_CTRLS) {
            error = Value(value);
        } else {
            error = ApplyControl(id, value);
        }
        if (error != 0) {
            controls.error_idx = i;
            return error;
        }
        control.value = value.value;
    }
    controls.error_idx = controls.count;
    return 0;
}

} // namespace vek::sim
