#include "ComparedPairs.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <utility>
#include <vector>

#include "FrameQueue.h"
#include "InputFile.h"
#include "Interrupt.h"
#include "PictureReader.h"
#include "Sequence.h"

std::string const* PendingSide::missing() const {
    std::error_code error;
    return loaded || std::filesystem::exists(path, error) ? nullptr : &path;
}

Side PendingSide::load(FrameLimits const& limits) {
    return loaded ? *std::move(loaded) : loadSide(path, limits);
}

std::string const* PendingPair::missing() const {
    std::string const* const path = first.missing();
    return path != nullptr ? path : second.missing();
}

namespace {

constexpr const char* kStandardInput = "-";

// Standard input: a picture, or frames one after the other.
class InputSides {
public:
    explicit InputSides(FrameLimits const& limits) {
        auto file = std::make_unique<InputFile>(kStandardInput);
        if (isPicture(*file)) {
            m_picture = pictureSide(file->name(), *makePictureReader(*file, limits.maxPixels));
            return;
        }
        m_frames = std::make_unique<FrameQueue>(std::vector<std::string>{kStandardInput}, limits, std::move(file));
        m_first = m_frames->next();
    }

    // Before the first is taken.
    bool isOne() const { return m_picture || !m_first->hasNext; }

    // Nothing at the end. Throws the error of the read, which is the end, too.
    std::optional<Side> next() {
        if (m_picture)
            return std::exchange(m_picture, std::nullopt);
        if (!m_frames)
            return std::nullopt;
        std::optional<QueuedFrame> frame = m_first ? std::exchange(m_first, std::nullopt) : m_frames->next();
        if (!frame)
            return std::nullopt;
        return frameSide(frame->name, std::move(frame->load(kStandardInput, {})));
    }

private:
    std::optional<Side> m_picture;
    std::unique_ptr<FrameQueue> m_frames;
    std::optional<QueuedFrame> m_first;
};

// Two files.
class SinglePair : public PairSource {
public:
    explicit SinglePair(PendingPair pair) : m_pair(std::move(pair)) {}

    std::optional<PendingPair> next() override { return std::exchange(m_pair, std::nullopt); }
    bool isSequence() const override { return false; }
    std::optional<std::size_t> total() const override { return 1; }

    std::optional<std::string> firstMissing() const override {
        std::string const* const missing = m_pair ? m_pair->missing() : nullptr;
        return missing != nullptr ? std::optional(*missing) : std::nullopt;
    }

private:
    std::optional<PendingPair> m_pair;
};

struct PairNames {
    std::string first;
    std::string second;
};

// Numbers of both sequences between the first and the last of the files of either.
std::vector<std::uint64_t> numbersOfBoth(SequencePattern const& first, SequencePattern const& second,
                                         ComparedInputs const& inputs) {
    std::vector<std::uint64_t> existing = first.existingNumbers();
    const std::vector<std::uint64_t> others = second.existingNumbers();
    if (existing.empty() || others.empty())
        throw failure("no file matches {}", existing.empty() ? inputs.first : inputs.second);
    const std::uint64_t least = std::min(existing.front(), others.front());
    const std::uint64_t largest = std::max(existing.back(), others.back());
    if (largest - least >= kMaxNumbers)
        throw failure("{} and {} match files from {} to {}, which is too many; select some with --frames", inputs.first,
                      inputs.second, least, largest);
    std::vector<std::uint64_t> numbers(largest - least + 1);
    std::iota(numbers.begin(), numbers.end(), least);
    return numbers;
}

// Frames of the same number are compared, or where both names have a list of numbers, those of the same place.
std::vector<PairNames> pairsOf(ComparedInputs const& inputs) {
    const std::optional<SequencePattern> first = sequenceOf(inputs.first);
    const std::optional<SequencePattern> second = sequenceOf(inputs.second);
    if (!first || !second)
        throw usageError("{} is a sequence and {} is not; a sequence is compared with a sequence",
                         first ? inputs.first : inputs.second, first ? inputs.second : inputs.first);
    std::vector<std::uint64_t> numbers = first->listedNumbers();
    std::vector<std::uint64_t> others = second->listedNumbers();
    if (numbers.empty() && others.empty())
        numbers = inputs.numbers.empty() ? numbersOfBoth(*first, *second, inputs)
                                         : parseNumberList(inputs.numbers, "--frames: ");
    numbers = numbers.empty() ? others : numbers;
    others = others.empty() ? numbers : others;
    if (numbers.size() != others.size())
        throw usageError("{} has {} numbers and {} has {}; both must have as many", inputs.first, numbers.size(),
                         inputs.second, others.size());
    std::vector<PairNames> pairs;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        pairs.push_back({first->nameOf(numbers[i]), second->nameOf(others[i])});
    return pairs;
}

PendingPair pairOf(std::string const& first, std::string const& second) {
    return {first, {first, std::nullopt}, {second, std::nullopt}, std::nullopt};
}

// Two sequences.
class FilePairs : public PairSource {
public:
    explicit FilePairs(ComparedInputs const& inputs) : m_names(pairsOf(inputs)) {}

    std::optional<PendingPair> next() override {
        if (m_next == m_names.size())
            return std::nullopt;
        PairNames const& names = m_names[m_next++];
        return pairOf(names.first, names.second);
    }

    std::optional<std::size_t> total() const override { return m_names.size(); }

    std::optional<std::string> firstMissing() const override {
        for (PairNames const& names : m_names) {
            throwIfInterrupted();
            const PendingPair pair = pairOf(names.first, names.second);
            if (std::string const* const missing = pair.missing())
                return *missing;
        }
        return std::nullopt;
    }

private:
    std::vector<PairNames> m_names;
    std::size_t m_next = 0;
};

// Standard input on one side, files on the other.
class InputPairs : public PairSource {
public:
    InputPairs(ComparedInputs const& inputs, InputSides input)
        : m_inputIsFirst(inputs.first == kStandardInput),
          m_other(m_inputIsFirst ? inputs.second : inputs.first),
          m_input(std::move(input)) {
        for (SequenceItem& item : expandSequences({m_other}, inputs.numbers))
            m_files.push_back(std::move(item.path));
    }

    std::optional<std::string> firstMissing() const override {
        for (std::string const& file : m_files) {
            throwIfInterrupted();
            if (std::string const* const missing = PendingSide{file, std::nullopt}.missing())
                return *missing;
        }
        return std::nullopt;
    }

protected:
    // What standard input contains next: a side, an error, or neither at its end.
    struct Input {
        std::optional<Side> side;
        std::optional<CommandError> error;

        bool isEnd() const { return !side && !error; }
    };

    Input nextInput() {
        try {
            return {m_input.next(), std::nullopt};
        } catch (CommandError const& error) {
            return {std::nullopt, error};
        }
    }

    PendingPair pairWith(std::string const& file, Input input) const {
        PendingPair pair;
        pair.name = m_inputIsFirst && input.side ? input.side->name : file;
        (m_inputIsFirst ? pair.second : pair.first).path = file;
        (m_inputIsFirst ? pair.first : pair.second).loaded = std::move(input.side);
        pair.error = std::move(input.error);
        return pair;
    }

    bool m_inputIsFirst;
    std::string m_other; // the argument beside standard input
    InputSides m_input;
    std::vector<std::string> m_files;
};

// Standard input and a sequence: each file has a frame, also one that does not exist.
class InputAndSequence : public InputPairs {
public:
    using InputPairs::InputPairs;

    std::optional<PendingPair> next() override {
        Input input = nextInput();
        if (m_next == m_files.size()) {
            if (input.isEnd())
                return std::nullopt;
            if (input.side)
                input.error =
                    failure("{} has no counterpart: {} has {} numbers", input.side->name, m_other, m_files.size());
            return pairWith(m_files.back(), std::move(input));
        }
        std::string const& file = m_files[m_next++];
        if (input.isEnd())
            input.error = failure("standard input has no frame for {}", file);
        return pairWith(file, std::move(input));
    }

    std::optional<std::size_t> total() const override { return m_files.size(); }

private:
    std::size_t m_next = 0;
};

// Standard input and a single file, which every frame is compared with.
class InputAndFile : public InputPairs {
public:
    using InputPairs::InputPairs;

    std::optional<PendingPair> next() override {
        Input input = nextInput();
        if (input.isEnd())
            return std::nullopt;
        return pairWith(m_files.front(), std::move(input));
    }

    std::optional<std::size_t> total() const override { return std::nullopt; }
};

PendingSide pendingSide(std::string const& argument, std::optional<InputSides>& input) {
    if (argument == kStandardInput)
        return {"", input->next()};
    return {argument, std::nullopt};
}

} // namespace

std::unique_ptr<PairSource> openPairs(ComparedInputs const& inputs) {
    if (inputs.first == kStandardInput && inputs.second == kStandardInput)
        throw usageError("standard input can be only one of the two inputs");
    const bool hasSequence = sequenceOf(inputs.first) || sequenceOf(inputs.second);
    std::optional<InputSides> input;
    if (inputs.first == kStandardInput || inputs.second == kStandardInput)
        input.emplace(inputs.limits);
    if (!hasSequence && (!input || input->isOne()))
        return std::make_unique<SinglePair>(PendingPair{inputs.first, pendingSide(inputs.first, input),
                                                        pendingSide(inputs.second, input), std::nullopt});
    if (!input)
        return std::make_unique<FilePairs>(inputs);
    if (hasSequence)
        return std::make_unique<InputAndSequence>(inputs, *std::move(input));
    return std::make_unique<InputAndFile>(inputs, *std::move(input));
}
