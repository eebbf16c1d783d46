#include "decoder/formats/pnm.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "decoder/formats/whole_rows.h"
#include "decoder/input/sequential_reader.h"
#include "support/ascii.h"

namespace sorvane::decoder {

namespace {

// A line of a PAM's header is a word and a number, or a tuple type; comments may be of any length.
constexpr std::size_t maxLineLength = 100;

// Ten times this and a digit more still fits 64 bits.
constexpr std::uint32_t maxNumber = 4'000'000'000;

constexpr std::uint32_t maxMaximum = 65'535;

bool isSpace(std::uint8_t byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

/// How the values of a row are written.
enum class Form : std::uint8_t { textBits, text, packedBits, bytes };

struct PnmHeader {
    Form form = Form::bytes;
    Size size;
    std::uint32_t maximum = 1;
    Channels channels = Channels::grey;

    bool sixteenBits() const { return maximum > 255; }
    SampleFormat samples() const { return {channels, sixteenBits()}; }
};

/// Reads what is written as text.
class TextReader {
  public:
    explicit TextReader(SequentialReader& file) : file_(file) {}

    /// The next byte; a comment and the end of its line count as the end of the line alone.
    std::optional<std::uint8_t> byte() {
        auto next = file_.byte();
        if (next != '#') return next;
        while (next && *next != '\n' && *next != '\r') next = file_.byte();
        return next;
    }

    /// The next byte that is not white space.
    std::optional<std::uint8_t> visible() {
        auto next = byte();
        while (next && isSpace(*next)) next = byte();
        return next;
    }

    /// The next number; takes the white space of one byte after it too, if the file goes on.
    std::optional<std::uint32_t> number() {
        auto next = visible();
        if (!next || !ascii::isDigit(static_cast<char>(*next))) return std::nullopt;
        std::uint64_t value = 0;
        for (; next && ascii::isDigit(static_cast<char>(*next)); next = byte()) {
            value = 10 * value + (*next - std::uint64_t{'0'});
            if (value > maxNumber) return std::nullopt;
        }
        if (next && !isSpace(*next)) return std::nullopt;
        return static_cast<std::uint32_t>(value);
    }

    /// The next line, without its end; an empty one for a comment.
    std::optional<std::string> line() {
        std::string text;
        bool comment = false;
        for (auto next = file_.byte(); next; next = file_.byte()) {
            if (*next == '\n') return text;
            comment |= text.empty() && *next == '#';
            if (comment) continue;
            if (text.size() == maxLineLength) return std::nullopt;
            text += static_cast<char>(*next);
        }
        return std::nullopt;
    }

  private:
    SequentialReader& file_;
};

std::optional<PnmHeader> readMapHeader(TextReader& text, char kind) {
    constexpr std::array forms = {Form::textBits,   Form::text,  Form::text,
                                  Form::packedBits, Form::bytes, Form::bytes};
    PnmHeader header;
    header.form = forms[static_cast<std::size_t>(kind - '1')];
    header.channels = kind == '3' || kind == '6' ? Channels::rgb : Channels::grey;
    const auto width = text.number();
    const auto height = width ? text.number() : std::nullopt;
    if (!height) return std::nullopt;
    header.size = {*width, *height};
    if (header.form == Form::textBits || header.form == Form::packedBits) return header;
    const auto maximum = text.number();
    if (!maximum) return std::nullopt;
    header.maximum = *maximum;
    return header;
}

/// The fields of a PAM's header, a line each, in any order.
class PamHeader {
  public:
    bool read(TextReader& text) {
        for (auto line = text.line(); line; line = text.line()) {
            const auto [word, rest] = split(*line);
            if (word == "ENDHDR") return true;
            if (!word.empty() && !takeLine(word, rest)) return false;
        }
        return false;
    }

    std::optional<PnmHeader> header() const {
        const auto channels = this->channels();
        if (!channels || channelCount(*channels) != depth_) return std::nullopt;
        return PnmHeader{Form::bytes, {width_, height_}, maximum_, *channels};
    }

  private:
    static std::pair<std::string_view, std::string_view> split(std::string_view line) {
        constexpr std::string_view spaces = " \t\r\v\f";
        line.remove_prefix(std::min(line.find_first_not_of(spaces), line.size()));
        line = line.substr(0, line.find_last_not_of(spaces) + 1);
        const std::string_view word = line.substr(0, line.find_first_of(spaces));
        line.remove_prefix(word.size());
        line.remove_prefix(std::min(line.find_first_not_of(spaces), line.size()));
        return {word, line};
    }

    bool takeLine(std::string_view word, std::string_view rest) {
        if (word == "WIDTH") return takeNumber(width_, rest);
        if (word == "HEIGHT") return takeNumber(height_, rest);
        if (word == "DEPTH") return takeNumber(depth_, rest);
        if (word == "MAXVAL") return takeNumber(maximum_, rest);
        if (word != "TUPLTYPE" || !kind_.empty()) return false;
        kind_ = rest;
        return true;
    }

    static bool takeNumber(std::uint32_t& number, std::string_view digits) {
        std::uint64_t value = 0;
        for (const char digit : digits) {
            if (!ascii::isDigit(digit) || value > maxNumber / 10) return false;
            value = 10 * value + static_cast<std::uint64_t>(digit - '0');
        }
        number = static_cast<std::uint32_t>(value);
        return true;
    }

    // Without a tuple type the depth decides.
    std::optional<Channels> channels() const {
        constexpr std::array byDepth = {Channels::grey, Channels::greyAlpha, Channels::rgb,
                                        Channels::rgba};
        if (kind_.empty() && depth_ >= 1 && depth_ <= byDepth.size()) return byDepth[depth_ - 1];
        constexpr std::string_view alphaMark = "_ALPHA";
        std::string_view kind = kind_;
        const bool alpha = kind.ends_with(alphaMark);
        if (alpha) kind.remove_suffix(alphaMark.size());
        const bool grey = kind == "BLACKANDWHITE" || kind == "GRAYSCALE";
        if (!grey && kind != "RGB") return std::nullopt;
        return channelsOf(!grey, alpha);
    }

    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t depth_ = 0;
    std::uint32_t maximum_ = 0;
    std::string kind_;
};

class PnmDecoder final : public Decoder {
  public:
    explicit PnmDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    std::optional<PnmHeader> readOwnHeader();
    bool readRow();
    std::optional<std::uint32_t> readText();
    bool put(std::size_t index, std::uint32_t value);

    SequentialReader file_;
    TextReader text_{file_};
    PnmHeader header_;
    std::vector<std::uint8_t> stored_;
    std::vector<std::uint8_t> samples_;
};

std::optional<PnmHeader> PnmDecoder::readOwnHeader() {
    std::array<std::uint8_t, 2> magic;
    if (!file_.read(magic)) return std::nullopt;
    const char kind = static_cast<char>(magic[1]);
    if (magic[0] != 'P' || kind < '1' || kind > '7') return std::nullopt;
    if (kind != '7') return readMapHeader(text_, kind);
    PamHeader pam;
    return text_.line() == "" && pam.read(text_) ? pam.header() : std::nullopt;
}

std::optional<PictureHeader> PnmDecoder::readHeader() {
    const auto own = readOwnHeader();
    if (!own || own->maximum == 0 || own->maximum > maxMaximum) return std::nullopt;
    header_ = *own;
    PictureHeader header;
    header.size = header_.size;
    header.samples = header_.samples();
    return header;
}

bool PnmDecoder::readPixels(PixelSink& sink) {
    const std::size_t count = channelCount(header_.channels) * header_.size.width;
    const std::size_t sampleBytes = header_.sixteenBits() ? 2 : 1;
    samples_.resize(count * sampleBytes);
    if (header_.form == Form::bytes) stored_.resize(count * sampleBytes);
    if (header_.form == Form::packedBits) stored_.resize((count + 7) / 8);
    RowsInOrder rows(sink, header_.size, header_.samples());
    for (std::uint32_t y = 0; y < header_.size.height; ++y) {
        if (!readRow()) return false;
        rows.take(samples_.data());
    }
    return true;
}

// A bit of 1 is black.
bool PnmDecoder::readRow() {
    if (!file_.read(stored_)) return false;
    const std::size_t count = channelCount(header_.channels) * header_.size.width;
    for (std::size_t i = 0; i < count; ++i) {
        std::optional<std::uint32_t> value;
        if (header_.form == Form::packedBits)
            value = 1U ^ (stored_[i / 8] >> (7 - i % 8) & 1U);
        else if (header_.form != Form::bytes)
            value = readText();
        else if (header_.sixteenBits())
            value = stored_[2 * i] * 256U + stored_[2 * i + 1];
        else
            value = stored_[i];
        if (!value || !put(i, *value)) return false;
    }
    return true;
}

std::optional<std::uint32_t> PnmDecoder::readText() {
    if (header_.form == Form::text) return text_.number();
    const auto bit = text_.visible();
    if (!bit || (*bit != '0' && *bit != '1')) return std::nullopt;
    return static_cast<std::uint32_t>('1' - *bit);
}

bool PnmDecoder::put(std::size_t index, std::uint32_t value) {
    const std::uint32_t maximum = header_.maximum;
    if (value > maximum) return false;
    const std::uint32_t full = header_.sixteenBits() ? 65'535 : 255;
    // Nearly every file's maximum is the full one, and a division takes long.
    if (maximum != full)
        value = static_cast<std::uint32_t>((value * std::uint64_t{full} + maximum / 2) / maximum);
    if (header_.sixteenBits()) {
        const auto sample = static_cast<std::uint16_t>(value);
        std::memcpy(samples_.data() + sizeof sample * index, &sample, sizeof sample);
    } else {
        samples_[index] = static_cast<std::uint8_t>(value);
    }
    return true;
}

} // namespace

std::unique_ptr<Decoder> openPnm(ByteSource& file) { return std::make_unique<PnmDecoder>(file); }

} // namespace sorvane::decoder
