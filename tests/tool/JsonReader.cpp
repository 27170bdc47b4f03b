#include "tool/JsonReader.h"

#include "common/Text.h"

#include <cstddef>
#include <cstdlib>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

class Reader {
public:
    explicit Reader(std::string_view line) : text(line) {}

    JsonObject object() {
        JsonObject fields;
        expect('{');
        if (!take('}')) {
            do {
                const std::string name = quoted();
                expect(':');
                if (!fields.emplace(name, value()).second) {
                    refuse("a name comes twice");
                }
            } while (take(','));
            expect('}');
        }
        return fields;
    }
    void expectEnd() const {
        if (at != text.size()) {
            refuse("more after the end");
        }
    }

private:
    [[noreturn]] void refuse(const char* reason) const {
        throw std::runtime_error(std::string(reason) + " at " + std::to_string(at) + " of " +
                                 std::string(text));
    }
    char next() {
        if (at == text.size()) {
            refuse("cut short");
        }
        return text[at++];
    }
    bool take(char wanted) {
        const bool found = at < text.size() && text[at] == wanted;
        at += found ? 1 : 0;
        return found;
    }
    void expect(char wanted) {
        if (next() != wanted) {
            refuse("another character");
        }
    }

    std::string quoted() {
        std::string content;
        expect('"');
        for (char c = next(); c != '"'; c = next()) {
            if (static_cast<unsigned char>(c) < 0x20) {
                refuse("a bare control character");
            }
            content += c == '\\' ? escaped() : std::string(1, c);
        }
        if (!tool::isUtf8(content)) {
            refuse("a text that isn't UTF-8");
        }
        return content;
    }
    std::string escaped() {
        constexpr std::string_view letters = "\"\\/bfnrt";
        constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
        const char letter = next();
        if (letter != 'u') {
            const std::size_t place = letters.find(letter);
            if (place == std::string_view::npos) {
                refuse("no such escape");
            }
            return std::string(1, meanings[place]);
        }
        std::string digits;
        while (digits.size() < 4) {
            digits += next();
        }
        if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            refuse("a bad number of a character");
        }
        const auto point = static_cast<char32_t>(std::strtoul(digits.c_str(), nullptr, 16));
        return tool::toUtf8({&point, 1});
    }

    std::string value() {
        if (at < text.size() && text[at] == '"') {
            return quoted();
        }
        const std::size_t start = at;
        if (at < text.size() && text[at] == '{') {
            object();
        } else if (take('[')) {
            list();
        } else {
            word();
        }
        return std::string(text.substr(start, at - start));
    }
    void list() {
        if (take(']')) {
            return;
        }
        do {
            value();
        } while (take(','));
        expect(']');
    }
    void word() {
        const std::size_t end = text.find_first_of(",}]", at);
        const std::string_view found = text.substr(at, end - at);
        const bool isNumber =
            !found.empty() && found.find_first_not_of("-0123456789") == std::string_view::npos;
        if (!isNumber && found != "true" && found != "false" && found != "null") {
            refuse("no value");
        }
        at += found.size();
    }

    std::string_view text;
    std::size_t at = 0;
};

} // namespace

JsonObject readObject(std::string_view line) {
    Reader reader(line);
    JsonObject fields = reader.object();
    reader.expectEnd();
    return fields;
}

std::vector<JsonObject> readObjects(std::string_view text) {
    std::vector<JsonObject> objects;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            throw std::runtime_error("a line without an end: " + std::string(text));
        }
        objects.push_back(readObject(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
    return objects;
}

std::vector<JsonObject> ofType(const std::vector<JsonObject>& objects, const std::string& type) {
    std::vector<JsonObject> found;
    for (const JsonObject& object : objects) {
        if (object.at("type") == type) {
            found.push_back(object);
        }
    }
    return found;
}

} // namespace VexaSsl::test
