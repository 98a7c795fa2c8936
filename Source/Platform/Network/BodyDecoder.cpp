#include "Platform/Network/BodyDecoder.h"

#include "Platform/Foundation/NSErrorCodes.h"
#include "Platform/Network/ChunkedStage.h"
#include "Platform/Network/CompressionStages.h"

#include <glib.h>
#include <string>

namespace {

constexpr size_t intermediateSize = 64 * 1024;   // bytes
constexpr size_t mostCodings = 5;

std::vector<std::string> codingsIn(std::string_view field)
{
    std::vector<std::string> codings;
    while (!field.empty()) {
        const size_t end = field.find(',');
        std::string name(field.substr(0, end));
        g_strstrip(name.data());
        name.resize(std::char_traits<char>::length(name.c_str()));
        if (!name.empty() && g_ascii_strcasecmp(name.c_str(), "identity") != 0)
            codings.push_back(std::move(name));
        field.remove_prefix(end == std::string_view::npos ? field.size() : end + 1);
    }
    return codings;
}

std::unique_ptr<DecodingStage> stageFor(const std::string& coding)
{
    const auto is = [&](const char* name) { return g_ascii_strcasecmp(coding.c_str(), name) == 0; };
    if (is("gzip") || is("x-gzip"))
        return std::make_unique<ZlibStage>(ZlibStage::Format::Gzip);
    if (is("deflate"))
        return std::make_unique<ZlibStage>(ZlibStage::Format::Deflate);
    return is("br") ? std::make_unique<BrotliStage>() : std::unique_ptr<DecodingStage>();
}

}

void BodyDecoder::add(std::unique_ptr<DecodingStage> stage)
{
    Level level;
    level.stage = std::move(stage);
    _levels.push_back(std::move(level));
}

void BodyDecoder::addChunked()
{
    add(std::make_unique<ChunkedStage>());
}

bool BodyDecoder::addContentCodings(std::string_view field)
{
    const std::vector<std::string> codings = codingsIn(field);
    if (codings.size() > mostCodings)
        return false;
    std::vector<std::unique_ptr<DecodingStage>> stages;
    for (auto coding = codings.rbegin(); coding != codings.rend(); ++coding) {
        stages.push_back(stageFor(*coding));
        if (!stages.back())
            return true;
    }
    for (auto& stage : stages)
        add(std::move(stage));
    return true;
}

BodyDecoder::Outcome BodyDecoder::fail(int64_t code)
{
    _errorCode = code;
    return Outcome::Failed;
}

BodyDecoder::Outcome BodyDecoder::decode(std::span<std::byte> output, size_t* count)
{
    return fill(_levels.size() - 1, output, count);
}

BodyDecoder::Outcome BodyDecoder::fill(size_t index, std::span<std::byte> output, size_t* count)
{
    Level& level = _levels[index];
    std::span<const std::byte>& input = index == 0 ? _raw : _levels[index - 1].left;
    while (!level.hasEnded) {
        // 1. What is there is decoded; a stage may also have kept something. What came before a fault counts.
        if (level.isBroken)
            return fail(level.stage->brokenCode());
        const DecodingStage::Step step = level.stage->decode(input, output);
        input = input.subspan(step.used);
        level.hasEnded = step.state == DecodingStage::State::Ended;
        level.isBroken = step.state == DecodingStage::State::Broken;
        if (step.made > 0) {
            *count = step.made;
            return Outcome::Bytes;
        }
        // 2. Nothing came of it: more is needed.
        if (level.hasEnded || level.isBroken || step.used > 0)
            continue;
        const Outcome outcome = fillInput(index);
        if (outcome == Outcome::End)
            return level.stage->mayEnd() ? Outcome::End : fail(NSURLErrorNetworkConnectionLost);
        if (outcome != Outcome::Bytes)
            return outcome;
    }
    return Outcome::End;
}

BodyDecoder::Outcome BodyDecoder::fillInput(size_t index)
{
    if (index == 0)
        return _rawEnded ? Outcome::End : Outcome::NeedsMore;
    Level& below = _levels[index - 1];
    below.buffer.resize(intermediateSize);
    size_t count = 0;
    const Outcome outcome = fill(index - 1, below.buffer, &count);
    below.left = std::span(below.buffer).first(count);
    return outcome;
}
