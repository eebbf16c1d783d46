#include "tools/doctor/shell_words.h"

#include <algorithm>
#include <utility>

#include "support/ascii.h"

namespace sorvane::doctor {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

bool isNameCharacter(char c) { return c == '_' || ascii::isLetterOrDigit(c); }

class Splitter {
  public:
    Splitter(std::string_view line, std::string_view home) : rest_(line), home_(home) {}

    std::optional<std::vector<ShellWords>> split() {
        while (!rest_.empty() && !broken_) step();
        if (broken_) return std::nullopt;
        endCommand();
        return std::move(commands_);
    }

  private:
    void step() {
        const char c = rest_.front();
        if (isBlank(c)) {
            rest_.remove_prefix(1);
            endWord();
        } else if (std::string_view("\n;&|()").find(c) != std::string_view::npos) {
            rest_.remove_prefix(1);
            endCommand();
        } else if (c == '<' || c == '>') {
            redirect();
        } else if (c == '#' && !inWord_) {
            rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
        } else {
            part();
        }
    }

    // A piece of a word.
    void part() {
        const char c = rest_.front();
        const bool first = !std::exchange(inWord_, true);
        if (c == '\'') {
            singleQuoted();
        } else if (c == '"') {
            doubleQuoted();
        } else if (c == '$' || c == '`') {
            expand(false);
        } else if (c == '~' && first) {
            tilde();
        } else {
            rest_.remove_prefix(1);
            if (c == '\\')
                escaped();
            else
                plain(c);
        }
    }

    void plain(char c) {
        if (c == '*' || c == '?' || c == '[') word_.known = false;
        word_.text += c;
    }

    void escaped() {
        if (rest_.empty()) {
            word_.text += '\\';
            return;
        }
        if (rest_.front() != '\n') word_.text += rest_.front();
        rest_.remove_prefix(1);
    }

    void singleQuoted() {
        const std::size_t end = rest_.find('\'', 1);
        broken_ = end == rest_.npos;
        if (broken_) return;
        word_.text += rest_.substr(1, end - 1);
        rest_.remove_prefix(end + 1);
    }

    void doubleQuoted() {
        rest_.remove_prefix(1);
        while (!rest_.empty() && rest_.front() != '"' && !broken_) {
            const char c = rest_.front();
            if (c == '$' || c == '`') {
                expand(true);
                continue;
            }
            rest_.remove_prefix(1);
            // Before any other character the backslash is literal.
            const bool escapes =
                c == '\\' && !rest_.empty() &&
                std::string_view("$`\"\\\n").find(rest_.front()) != std::string_view::npos;
            if (escapes)
                escaped();
            else
                word_.text += c;
        }
        broken_ = broken_ || rest_.empty();
        if (!broken_) rest_.remove_prefix(1);
    }

    void tilde() {
        const bool own = rest_.size() == 1 ||
                         std::string_view("/ \t\n;&|()<>").find(rest_[1]) != std::string_view::npos;
        rest_.remove_prefix(1);
        if (own)
            word_.text += home_;
        else
            unknown("~");
    }

    void unknown(std::string_view text) {
        word_.known = false;
        word_.text += text;
    }

    // Outside quotes the result of an expansion is split into words again.
    void expand(bool quoted) {
        const std::size_t length = expansionLength();
        const std::string_view text = rest_.substr(0, length);
        rest_.remove_prefix(length);
        if (text == "$") {
            word_.text += '$';
        } else if (text != "$HOME" && text != "${HOME}") {
            unknown(text);
        } else if (quoted) {
            word_.text += home_;
        } else {
            for (const char c : home_) {
                if (isBlank(c)) {
                    endWord();
                    inWord_ = true;
                } else {
                    word_.text += c;
                }
            }
        }
    }

    std::size_t expansionLength() {
        if (rest_.front() == '`') return closedBy('`', 1);
        if (rest_.size() == 1) return 1;
        const char next = rest_[1];
        if (next == '{') return closedBy('}', 2);
        if (next == '(') return nestedLength();
        if (next == '\'' || next == '"') return 1;
        std::size_t length = 1;
        while (length < rest_.size() && isNameCharacter(rest_[length])) ++length;
        if (length == 1 && std::string_view("@*#?-$!").find(next) != std::string_view::npos)
            return 2;
        return length;
    }

    std::size_t closedBy(char end, std::size_t from) {
        const std::size_t found = rest_.find(end, from);
        broken_ = found == rest_.npos;
        return broken_ ? rest_.size() : found + 1;
    }

    // Counts nested brackets; quotes inside are not interpreted.
    std::size_t nestedLength() {
        std::size_t depth = 0;
        for (std::size_t index = 1; index < rest_.size(); ++index) {
            if (rest_[index] == '(') ++depth;
            if (rest_[index] == ')' && --depth == 0) return index + 1;
        }
        broken_ = true;
        return rest_.size();
    }

    // The number before the operator and the word after it belong to the redirection.
    void redirect() {
        if (inWord_ && word_.text.find_first_not_of("0123456789") == std::string::npos) {
            word_ = {};
            inWord_ = false;
        }
        endWord();
        while (!rest_.empty() && std::string_view("<>&|").find(rest_.front()) != rest_.npos)
            rest_.remove_prefix(1);
        takesTarget_ = true;
    }

    void endWord() {
        if (!inWord_) return;
        inWord_ = false;
        ShellWord word = std::exchange(word_, {});
        if (!std::exchange(takesTarget_, false)) words_.push_back(std::move(word));
    }

    void endCommand() {
        endWord();
        takesTarget_ = false;
        if (!words_.empty()) commands_.push_back(std::exchange(words_, {}));
    }

    std::string_view rest_;
    std::string_view home_;
    std::vector<ShellWords> commands_;
    ShellWords words_;
    ShellWord word_;
    bool inWord_ = false;
    bool takesTarget_ = false;
    bool broken_ = false;
};

} // namespace

std::optional<std::vector<ShellWords>> splitCommandLine(std::string_view line,
                                                        std::string_view home) {
    return Splitter(line, home).split();
}

} // namespace sorvane::doctor
