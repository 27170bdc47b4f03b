#include "certificates/CertificateInspector.h"

#include "certificates/ChainExamination.h"

namespace VexaSsl {

bool CertificateInspector::verifyCertificateChain(PCCERT_CONTEXT certificate,
                                                  bool forServer) const {
    return ChainExamination(log, certificate, forServer).isTrusted();
}

} // namespace VexaSsl
