#include "FileSignature.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace {

using namespace std::string_view_literals;

// A frame may begin with any eight bytes. In the frames of most writers the first four are its size, so a signature has
// four bytes or more, or is completed by a rule below.
struct Signature {
    std::string_view bytes;
    std::size_t offset;
    const char* kind;
};

constexpr Signature kSignatures[] = {
    {"\x89PNG\r\n\x1A\n"sv, 0, "a PNG picture"},
    {"GIF87a"sv, 0, "a GIF picture"},
    {"GIF89a"sv, 0, "a GIF picture"},
    {"II*\0"sv, 0, "a TIFF picture"},
    {"MM\0*"sv, 0, "a TIFF picture"},
    {"II+\0"sv, 0, "a TIFF picture"},
    {"MM\0+"sv, 0, "a TIFF picture"},
    {"\x76\x2F\x31\x01"sv, 0, "an OpenEXR picture"},
    {"SDPX"sv, 0, "a DPX picture"},
    {"XPDS"sv, 0, "a DPX picture"},
    {"\x80\x2A\x5F\xD7"sv, 0, "a Cineon picture"},
    {"\xD7\x5F\x2A\x80"sv, 0, "a Cineon picture"},
    {"8BPS"sv, 0, "a Photoshop picture"},
    {"#?RADIANCE"sv, 0, "a Radiance picture"},
    {"#?RGBE"sv, 0, "a Radiance picture"},
    {"\0\0\0\x0CJXL \r\n\x87\n"sv, 0, "a JPEG XL picture"},
    {"DDS \x7C\0\0\0"sv, 0, "a DDS texture"},
    {"\xABKTX "sv, 0, "a KTX texture"},
    {"qoif"sv, 0, "a QOI picture"},
    {"SIMPLE  ="sv, 0, "a FITS picture"},
    {"<svg"sv, 0, "an SVG picture"},
    {"\0\0\0\x0CjP  \r\n\x87\n"sv, 0, "a JPEG 2000 picture"},
    {"\xFF\x4F\xFF\x51"sv, 0, "a JPEG 2000 picture"},
    {"YUV4MPEG2 "sv, 0, "a Y4M video"},
    {"\x93NUMPY"sv, 0, "a NumPy array"},
    {"\x1A\x45\xDF\xA3"sv, 0, "a Matroska or WebM file"},
    {"ftyp"sv, 4, "an MP4 or QuickTime file"},
    {"moov"sv, 4, "a QuickTime file"},
    {"mdat"sv, 4, "a QuickTime file"},
    {"wide"sv, 4, "a QuickTime file"},
    {"free"sv, 4, "a QuickTime file"},
    {"FLV\x01"sv, 0, "an FLV file"},
    {"\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, 0, "an ASF or WMV file"},
    {"\x06\x0E\x2B\x34\x02\x05\x01\x01"sv, 0, "an MXF file"},
    {"OggS"sv, 0, "an Ogg file"},
    {"fLaC"sv, 0, "a FLAC file"},
    {"%PDF-"sv, 0, "a PDF document"},
    {"%!PS"sv, 0, "a PostScript document"},
    {"<!DOCTYPE "sv, 0, "an HTML or XML document"},
    {"<html"sv, 0, "an HTML document"},
    {"PK\x03\x04"sv, 0, "a ZIP archive"},
    {"\xFD"
     "7zXZ\0"sv,
     0, "an xz archive"},
    {"7z\xBC\xAF\x27\x1C"sv, 0, "a 7z archive"},
    {"Rar!\x1A\x07"sv, 0, "a RAR archive"},
    {"ustar"sv, 257, "a tar archive"},
    {"\x28\xB5\x2F\xFD"sv, 0, "a Zstandard archive"},
    {"\x7F"
     "ELF"sv,
     0, "a program or library"},
    {"#!/bin/"sv, 0, "a script"},
    {"#!/usr/"sv, 0, "a script"},
    {"<?xml "sv, 0, "an XML document"},
};

class Beginning {
public:
    Beginning(const void* data, std::size_t size) : m_bytes(static_cast<const std::uint8_t*>(data), size) {}

    // The byte, or 0 where the data have none.
    std::uint8_t at(std::size_t offset) const { return offset < m_bytes.size() ? m_bytes[offset] : std::uint8_t{0}; }

    bool has(std::string_view text, std::size_t offset) const {
        return offset + text.size() <= m_bytes.size() &&
               std::memcmp(m_bytes.data() + offset, text.data(), text.size()) == 0;
    }

private:
    std::span<const std::uint8_t> m_bytes;
};

bool isSpace(std::uint8_t letter) {
    return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

// P and a digit, then white space, then the width or a comment; the headers of PAM and PFM begin with a line each.
const char* netpbmKind(Beginning const& file) {
    if (file.at(0) != 'P' || !isSpace(file.at(2)))
        return nullptr;
    const std::uint8_t next = file.at(3);
    const bool isNumber = next == '#' || (next >= '0' && next <= '9') || isSpace(next);
    switch (file.at(1)) {
    case '1':
    case '4':
        return isNumber ? "a PBM picture" : nullptr;
    case '2':
    case '5':
        return isNumber ? "a PGM picture" : nullptr;
    case '3':
    case '6':
        return isNumber ? "a PPM picture" : nullptr;
    case '7':
        return next == '#' || (next >= 'A' && next <= 'Z') ? "a PAM picture" : nullptr;
    case 'F':
    case 'f':
        return isNumber ? "a PFM picture" : nullptr;
    default:
        return nullptr;
    }
}

const char* chunksKind(Beginning const& file) {
    if (file.has("FORM", 0) && (file.has("AIFF", 8) || file.has("AIFC", 8)))
        return "an AIFF file";
    if (file.has("RF64", 0) && file.has("WAVE", 8))
        return "a WAVE file";
    if (!file.has("RIFF", 0))
        return nullptr;
    return file.has("AVI ", 8)   ? "an AVI file"
           : file.has("WAVE", 8) ? "a WAVE file"
           : file.has("WEBP", 8) ? "a WebP picture"
                                 : nullptr;
}

// Signatures of fewer than four bytes, with what must follow them.
const char* shortSignatureKind(Beginning const& file) {
    if (file.has("\xFF\xD8\xFF"sv, 0) && file.at(3) >= 0xC0)
        return "a JPEG picture";
    // A bitmap has four bytes of zero after its size, and a small offset of its pixels.
    if (file.has("BM", 0) && file.has("\0\0\0\0"sv, 6) && file.has("\0\0"sv, 12))
        return "a BMP picture";
    if (file.has("\x1F\x8B\x08"sv, 0) && file.at(3) < 0x20)
        return "a gzip archive";
    if (file.has("ID3", 0) && file.at(3) >= 2 && file.at(3) <= 4)
        return "an MP3 file";
    // Packets of a fixed size begin with the same byte.
    if (file.has("G", 0) && file.has("G", 188) && file.has("G", 376) && file.has("G", 564))
        return "an MPEG transport stream";
    if (file.has("BZh", 0) && file.at(3) >= '1' && file.at(3) <= '9')
        return "a bzip2 archive";
    return nullptr;
}

} // namespace

const char* fileKindOf(const void* data, std::size_t size) {
    const Beginning file(data, size);
    for (Signature const& signature : kSignatures)
        if (file.has(signature.bytes, signature.offset))
            return signature.kind;
    if (const char* kind = netpbmKind(file))
        return kind;
    if (const char* kind = chunksKind(file))
        return kind;
    return shortSignatureKind(file);
}
