// Any words as the arguments of the command: the parser accepts them, or refuses them with one line and the exit code
// for usage. The subcommand is not run.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "FuzzInput.h"
#include "Subcommands.h"

namespace {

// Help and version go to standard output, which a fuzzer does not want to read.
const bool s_isQuiet = [] {
    std::cout.setstate(std::ios::failbit);
    return true;
}();

// Words are separated by zero bytes, as the system hands them over.
std::vector<std::string> wordsOf(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words = {"ravelo"};
    const std::string all(reinterpret_cast<const char*>(data), size);
    for (std::size_t start = 0; start < all.size();) {
        const std::size_t end = std::min(all.find('\0', start), all.size());
        words.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return words;
}

// Constructed once: describing all options takes a hundred times longer than parsing a few words.
CommandLine& commandLine() {
    static CommandLine line("ravelo", "A description.", "ravelo 1");
    static const bool isComplete = [] {
        addAllCommands(line);
        return true;
    }();
    require(isComplete, "the commands are described");
    return line;
}

bool namesCommand(std::vector<std::string> const& words) {
    static const std::vector<CommandDescription> commands = commandLine().describeSubcommands();
    return std::any_of(commands.begin(), commands.end(), [&](CommandDescription const& command) {
        return std::find(words.begin(), words.end(), command.name) != words.end();
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words = wordsOf(data, size);
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    try {
        const std::function<ExitCode()> run = commandLine().parse(static_cast<int>(words.size()), arguments.data());
        require(!run || namesCommand(words), "only a subcommand that was named is run");
    } catch (CommandError const& error) {
        require(error.exitCode() == ExitCode::Usage, "wrong arguments have their own exit code");
        require(error.what()[0] != '\0', "the text says what is wrong");
    }
    return 0;
}
