#include "Contender.h"

#include <algorithm>
#include <utility>

namespace VexaSsl::bench {

namespace {

std::vector<Entry>& registered() {
    static std::vector<Entry> entries;
    return entries;
}

} // namespace

void Connection::recvAll(char* data, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        done += recv(data + done, size - done);
    }
}

Registration::Registration(Entry entry) {
    registered().push_back(std::move(entry));
}

std::vector<Entry> contenders() {
    std::vector<Entry> entries = registered();
    std::sort(entries.begin(), entries.end(),
              [](const Entry& one, const Entry& other) { return one.place < other.place; });
    return entries;
}

} // namespace VexaSsl::bench
