// What the machine's personal store and its trust anchors hold while a test runs, and contexts that
// lie in no store of the machine; defined in support/<system>/StoreContents.cpp.
#pragma once

#include "CryptoShapes.h"
#include "contract/support/ThrowawayPki.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::test {

// Everything put in goes out again at the end of its life. One at a time in the whole system: the
// store belongs to the machine.
class StoreContents {
public:
    StoreContents();
    ~StoreContents();
    StoreContents(const StoreContents&) = delete;
    StoreContents& operator=(const StoreContents&) = delete;

    // A certificate of the personal store. name: what to call it here; the same one replaces it.
    void install(const std::string& name, const Issued& issued);
    void uninstall(const std::string& name);
    // A trust anchor.
    void trust(const std::string& name, const Issued& issued);
    void distrust(const std::string& name);

private:
    struct State;
    const std::unique_ptr<State> state;
};

// Whether the certificate is there because of a StoreContents; a machine may have others.
bool belongsToTheTest(PCCERT_CONTEXT certificate);

// A context of the certificate, to be freed by the caller; helpers lie in its store with it.
PCCERT_CONTEXT makeContext(const Issued& issued, const std::vector<const Issued*>& helpers);

} // namespace VexaSsl::test
