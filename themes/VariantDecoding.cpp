#include "themes/VariantDecoding.h"

#include "audio/sample/AudioFileReader.h"
#include "audio/sample/SampleConversion.h"
#include "platform/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

BufferLoadError failure(std::string text) {
    using ManifestError = ThemeManifest::ManifestError;
    return {ThemeLoadError{
        ThemeLoadError::Manifest{ManifestError{ManifestError::Unreadable{std::move(text)}}}}};
}

BufferLoadError emptyAudio(const std::string& name) {
    return failure("empty or unreadable audio: " + name);
}

BufferLoadError conversionFailure(const std::string& name, const ConversionError& error) {
    switch (error.kind) {
    case ConversionError::Kind::noConverter:
        return failure("no converter for " + name);
    case ConversionError::Kind::noMemory:
        return failure("could not allocate buffer for " + name);
    case ConversionError::Kind::failed:
        break;
    }
    return failure(fmt::format("conversion failed for {}: {}", name, error.text));
}

// A file without a single byte is not even a header to the reader, but to the user it is as empty
// as a header without frames.
bool hasNoBytes(const std::filesystem::path& file) {
    std::error_code unknown;
    return std::filesystem::is_regular_file(file, unknown) &&
           std::filesystem::file_size(file, unknown) == 0 && !unknown;
}

std::size_t bytesOf(const PcmBuffer& buffer) {
    return buffer.frameLength() * buffer.channels.size() * sizeof(float);
}

} // namespace

DecodedVariant decodeVariant(const std::filesystem::path& file) {
    const std::string name = asValidUtf8(file.filename().native());
    auto reader = AudioFileReader::open(file);
    if (!reader)
        return {hasNoBytes(file) ? emptyAudio(name) : BufferLoadError{reader.error()}};
    if (reader->length() == 0)
        return {emptyAudio(name)};

    auto decoded = reader->readAll(ReadLimits{});
    const std::size_t bytes = reader->samplesDecoded() * sizeof(float);
    if (!decoded)
        return {BufferLoadError{decoded.error()}, bytes};
    if (decoded->frameLength() == 0)
        return {emptyAudio(name)};

    auto converted = convertToCanonical(std::move(decoded).value());
    if (!converted)
        return {conversionFailure(name, converted.error()), bytes};
    if (converted->frameLength() == 0)
        return {failure(fmt::format("conversion failed for {}: shorter than one frame", name)),
                bytes};
    const std::size_t most = std::max(bytes, bytesOf(converted.value()));
    return {
        std::shared_ptr<const PcmBuffer>(std::make_shared<PcmBuffer>(std::move(converted).value())),
        most};
}

} // namespace morvel
