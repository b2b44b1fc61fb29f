#include "board/shell_words.h"

#include <string_view>

namespace board {
namespace {

constexpr std::string_view kBlanks = " \t\n";
constexpr std::string_view kOnlyForAShell = "|&;<()$`*?[#~{}!";

class Splitter {
  public:
    Splitter(const std::string& line, ShellCommand& command) : line_(line), command_(command) {}

    ShellAnswer Split() {
        while (SkipBlanks()) {
            if (line_[at_] == '>') {
                if (!TakeRedirection()) return ShellAnswer::SyntaxError;
                if (!SkipBlanks()) return ShellAnswer::SyntaxError;
                const ShellAnswer answer = TakeWord(command_.output_file);
                if (answer != ShellAnswer::Understood) return answer;
                continue;
            }
            std::string word;
            const ShellAnswer answer = TakeWord(word);
            if (answer != ShellAnswer::Understood) return answer;
            command_.words.push_back(word);
        }
        return ShellAnswer::Understood;
    }

  private:
    bool AtEnd() const { return at_ >= line_.size(); }

    bool SkipBlanks() {
        while (!AtEnd() && kBlanks.find(line_[at_]) != std::string_view::npos)
            ++at_;
        return !AtEnd();
    }

    // One redirection of the output is all that is known.
    bool TakeRedirection() {
        if (!command_.output_file.empty()) return false;
        ++at_;
        command_.append = !AtEnd() && line_[at_] == '>';
        if (command_.append) ++at_;
        return true;
    }

    ShellAnswer TakeWord(std::string& word) {
        const std::size_t start = at_;
        while (!AtEnd() && kBlanks.find(line_[at_]) == std::string_view::npos && line_[at_] != '>') {
            const char c = line_[at_++];
            if (kOnlyForAShell.find(c) != std::string_view::npos) return ShellAnswer::Refused;
            if (c == '\'' || c == '"') {
                const ShellAnswer answer = TakeQuoted(c, word);
                if (answer != ShellAnswer::Understood) return answer;
            } else if (c == '\\') {
                if (AtEnd()) return ShellAnswer::SyntaxError;
                word += line_[at_++];
            } else {
                word += c;
            }
        }
        return at_ == start ? ShellAnswer::SyntaxError : ShellAnswer::Understood;
    }

    ShellAnswer TakeQuoted(char quote, std::string& word) {
        while (!AtEnd() && line_[at_] != quote) {
            char c = line_[at_++];
            if (quote == '"') {
                if (c == '$' || c == '`') return ShellAnswer::Refused;
                const bool escapes =
                    c == '\\' && !AtEnd() && std::string_view("$`\"\\").find(line_[at_]) != std::string_view::npos;
                if (escapes) c = line_[at_++];
            }
            word += c;
        }
        if (AtEnd()) return ShellAnswer::SyntaxError;
        ++at_;
        return ShellAnswer::Understood;
    }

    const std::string& line_;
    ShellCommand& command_;
    std::size_t at_ = 0;
};

}  // namespace

ShellAnswer SplitShellWords(const std::string& line, ShellCommand& command) {
    command = {};
    return Splitter(line, command).Split();
}

}  // namespace board
