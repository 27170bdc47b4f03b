#include "connect/ConversationInput.h"

#include "common/ExitStatus.h"
#include "common/StandardStreams.h"
#include "common/Text.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

namespace VexaSsl::tool {

namespace {

class TypedInput : public ConversationInput {
public:
    std::size_t read(char* buffer, std::size_t size) override { return input.read(buffer, size); }
    void cancel() override { input.cancel(); }
    bool cancelled() const override { return input.cancelled(); }
    std::string failure() const override {
        return input.failed() ? "standard input can't be read" : "";
    }
    bool hasMore() override { return input.hasMore(); }

private:
    StandardInput input;
};

class NoInput : public ConversationInput {
public:
    std::size_t read(char*, std::size_t) override { return 0; }
    void cancel() override { isCancelled = true; }
    bool cancelled() const override { return isCancelled; }
    bool hasMore() override { return false; }

private:
    std::atomic<bool> isCancelled = false;
};

class FileInput : public ConversationInput {
public:
    FileInput(std::ifstream&& opened, std::uintmax_t fileSize, SentReport report)
        : file(std::move(opened)), progress(fileSize, std::move(report)) {}

    // A further read means that the bytes of the previous one have been sent.
    std::size_t read(char* buffer, std::size_t size) override {
        progress.sent(given);
        if (isCancelled) {
            return 0;
        }
        file.read(buffer, static_cast<std::streamsize>(size));
        const auto count = static_cast<std::size_t>(file.gcount());
        given += count;
        isBroken = file.bad();
        if (count == 0 && !isBroken) {
            progress.finish();
        }
        return isBroken ? 0 : count;
    }
    std::string failure() const override {
        return isBroken ? "the file can't be read to its end" : "";
    }
    void cancel() override { isCancelled = true; }
    bool cancelled() const override { return isCancelled; }
    bool hasMore() override { return file.peek() != std::ifstream::traits_type::eof(); }

private:
    std::ifstream file;
    SendProgress progress;
    std::uintmax_t given = 0;
    bool isBroken = false;
    std::atomic<bool> isCancelled = false;
};

} // namespace

std::unique_ptr<ConversationInput> makeStandardInput() {
    return std::make_unique<TypedInput>();
}

std::unique_ptr<ConversationInput> makeNoInput() {
    return std::make_unique<NoInput>();
}

std::unique_ptr<ConversationInput> makeFileInput(const std::string& path, SentReport report) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(pathOfText(path), error);
    std::ifstream file(pathOfText(path), std::ios::binary);
    if (error || !file) {
        throw Failure(ExitStatus::Usage, "cannot read the file [" + path + "]");
    }
    return std::make_unique<FileInput>(std::move(file), size, std::move(report));
}

} // namespace VexaSsl::tool
