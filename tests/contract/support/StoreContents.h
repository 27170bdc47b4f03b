// The contents of the machine's personal store and its trust anchors during a test, and contexts
// outside of the machine's stores. Defined in support/<system>/StoreContents.cpp.
#pragma once

#include "CryptoShapes.h"
#include "contract/support/ThrowawayPki.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::test {

// Its destructor removes everything that was added. Only one exists at a time in the whole system,
// because the store belongs to the machine.
class StoreContents {
public:
    StoreContents();
    ~StoreContents();
    StoreContents(const StoreContents&) = delete;
    StoreContents& operator=(const StoreContents&) = delete;

    // Adds a certificate to the personal store. A second one under the same name replaces it.
    void install(const std::string& name, const Issued& issued);
    void uninstall(const std::string& name);
    // Adds a trust anchor.
    void trust(const std::string& name, const Issued& issued);
    void distrust(const std::string& name);

private:
    struct State;
    const std::unique_ptr<State> state;
};

// Returns whether a StoreContents added the certificate; the machine may have others.
bool belongsToTheTest(PCCERT_CONTEXT certificate);

// Returns a context of the certificate, freed by the caller. Its store also holds the helpers.
PCCERT_CONTEXT makeContext(const Issued& issued, const std::vector<const Issued*>& helpers);

} // namespace VexaSsl::test
