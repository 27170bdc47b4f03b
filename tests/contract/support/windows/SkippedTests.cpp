// The tests that fail because Wine differs from Windows, and those that need another TLS library.
#include "contract/support/ContractTest.h"

namespace VexaSsl::test {
namespace {

struct Group {
    const char* reason;
    std::vector<const char*> tests;
};

std::vector<SkippedTest> flattened(const std::vector<Group>& groups) {
    std::vector<SkippedTest> all;
    for (const Group& group : groups)
        for (const char* test : group.tests)
            all.push_back({test, group.reason});
    return all;
}

const Group noForeignPeer = {
    "Windows tests link no other TLS library; tests/across connects such peers over sockets",
    {"CipherSuites.*", "All/SupportedCipherSuite.*", "All/UnsupportedCipherSuite.*",
     "ServerTrust.*", "ServerNameIndication.*", "ForgedRecords.*",
     "Closure.closureExpiresTheContextPermanently", "Closure.dataBeforeTheClosureIsDelivered",
     "Closure.contextStillSendsAfterPeersClosure", "Closure.deletingTheContextSendsNoClosure",
     "Renegotiation.helloRequestIsReportedAndNotAnswered",
     "Renegotiation.clientHelloIsReportedAndNotAnswered",
     "Renegotiation.repeatedRequestIsReportedAgain",
     "Renegotiation.tamperedRequestIsAlteredMessage",
     "PackageHandshake.bytesAfterTheLastRecordAreExtra",
     "PackageHandshake.dataAfterTheClientsFinishedIsExtra",
     "ClientCertificate.noListOfAuthoritiesIsSent",
     "ClientCertificate.clientWithoutThePrivateKeyIsRefused"}};

const Group validatesNothing = {
    "Wine's Schannel validates neither certificates nor names",
    {"PackageHandshake.alertEntryIsNeverTouched", "PackageHandshake.refusalGivesNoToken",
     "PackageHandshake.failedContextRepeatsItsStatus", "Names/InvalidTarget.*",
     "ManualValidation.otherCredentialsStayStrict"}};

const Group oneStatusForAll = {
    "Wine's Schannel returns SEC_E_INTERNAL_ERROR for most failures",
    {"Closure.closureDuringTheHandshakeFails", "Closure.alertDuringTheHandshakeGivesItsStatus",
     "Renegotiation.dataRelabelledAsHandshakeIsAlteredMessage",
     "PackageHandshake.establishedContextRefusesHandshakeCalls",
     "PackageHandshake.recordWithoutHandshakeMessageIsIllegal",
     "Protection.changedTagIsAlteredMessage", "Protection.repeatedRecordIsAlteredMessage",
     "Protection.omittedRecordIsAlteredMessage",
     "Protection.failureEndsTheStreamAndIsRepeatedForSending",
     "Protection.contextInHandshakeIsInvalidHandle", "Handles.deletedContextIsInvalidHandle"}};

const Group acceptsNonTls = {"Wine's Schannel treats bytes that aren't TLS as an incomplete record",
                             {"Starts/NonTlsInput.*", "Protection.nonTlsBytesAreRefusedAtOnce",
                              "Protection.recordsTooShortForTheTagAreRefused"}};

const Group asksForNoCertificate = {
    "Wine's Schannel does not request a client's certificate",
    {"Certificates/PresentedCertificate.*", "ClientCertificate.storeHoldsTheChainAsSent",
     "ClientCertificate.peerCertificateOutlivesTheContext",
     "ClientCertificate.clientWithoutCertificateIsAccepted",
     "ClientCertificate.certificateIsNotSentUnasked",
     "ClientCertificate.mutualAuthenticationIsClaimedOnlyWithCertificate",
     "SuppliedCredentials.*"}};

const Group leafOnly = {"Wine's Schannel sends a certificate without its issuer",
                        {"ClientCertificate.clientSeesTheServersChain"}};

const Group otherCounts = {"Wine's Schannel does not limit the size of a message and reports "
                           "other missing counts",
                           {"Protection.tooLongMessageIsRefusedAndHarmsNothing",
                            "Protection.emptyMessageIsProtectedOrRefusedAndHarmsNothing",
                            "Protection.missingCountIsExactAtEveryByte"}};

const Group otherHeaderSize = {"Wine counts the nonce of a record as data instead of header",
                               {"Protection.plaintextLiesInsideTheInput"}};

const Group partialRecordIsExtra = {
    "Schannel consumes the whole records of an unfinished flight and reports the partial record "
    "after them as SECBUFFER_EXTRA",
    {"PackageHandshake.missingCountIsThatOfTheLastRecord"}};

const Group handleMadeAtOnce = {"Wine creates a context for a partial hello",
                                {"PackageHandshake.incompleteRecordConsumesAndCreatesNothing"}};

const Group alwaysConfidential = {"Wine's Schannel always claims confidentiality",
                                  {"PackageHandshake.confidentialityIsNotClaimedUnrequested"}};

const Group noCipherInfo = {
    "Wine's Schannel names no cipher suite and answers before the connection is established",
    {"CipherInfo.*", "ConnectionAttributes.needAnEstablishedContext"}};

const Group noOwnCertificate = {"Wine's Schannel doesn't report a side's own certificate",
                                {"ConnectionAttributes.eachSideReportsItsOwnCertificate"}};

const Group inboundWithoutCertificate = {
    "Wine's Schannel gives a server credentials without a certificate",
    {"Credentials.serverNeedsCertificate"}};

const Group ownStoreNotSearched = {"Wine searches for issuers in the additional store and the "
                                   "system's, but not in the certificate's",
                                   {"CertGetCertificateChain.elementsRunFromLeafToRoot",
                                    "CertGetCertificateChain.chainOutlivesTheCertificate"}};

const Group partialChainAccepted = {"Wine's SSL policy accepts a chain whose issuer is missing",
                                    {"ChainPolicy.missingIssuerIsReportedAtTheLastElement",
                                     "ChainPolicy.missingIssuerComesBeforeExpired"}};

const Group noConstraints = {"Wine's SSL policy does not report violated constraints",
                             {"ChainPolicy.issuerThatIsNoAuthorityIsAtFault",
                              "ChainPolicy.chainBeyondThePathLengthIsRefused",
                              "ChainPolicy.nameOutsideTheConstraintsIsRefused"}};

const Group keepsAnchors = {"Wine keeps the anchors of a process's first chain",
                            {"CertGetCertificateChain.newAnchorIsTrustedAtOnce"}};

const Group usageIgnored = {"the requested usage is ignored when the size of the parameters is 0",
                            {"ChainPolicy.usageNotListedIsWrong",
                             "ChainPolicy.usageUnrelatedToTlsIsChecked",
                             "ChainPolicy.usageExcludedByIntermediateIsItsFault",
                             "CertGetCertificateChain.everyFaultIsReportedAtItsElement"}};

const Group noPendingClose = {"Wine does not check for held contexts when it closes a system store",
                              {"CertCloseStore.heldContextMakesTheClosePending",
                               "CertCloseStore.heldDuplicateMakesTheClosePending",
                               "CertGetCertificateChain.chainHoldsTheCertificateOfTheStore"}};

const Group closedStoreIsFreed = {"Windows does not recognise the handle of a closed store",
                                  {"Calls/ClosedStore.*"}};

const Group noUsageSearch = {"Wine does not search by usage",
                             {"UsageSearch.certificatesListingTheUsageMatch",
                              "UsageSearch.everyRequestedUsageMustBeListed"}};

const Group subjectText = {
    "Wine ignores the case of ASCII letters only and joins the subject in another order",
    {"SubjectSearch.searchIgnoresCaseOfAccentedLetters",
     "SubjectSearch.valuesAreJoinedByCommaAndSpace"}};

const Group otherTexts = {"Wine has another text for this number",
                          {"FormatMessageW.zeroHasTheSuccessText",
                           "FormatMessageW.textEndsWithLineEndWithoutTheWidthMask",
                           "FormatMessageW.callersBufferReceivesTheText"}};

const Group noText = {"Wine has no text for this number",
                      {"Sockets/TextOfCode.errorTextIsOneReadableLine/12",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/13",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/14",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/15",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/16",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/17",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/18",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/19",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/20",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/21",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/22",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/23",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/24",
                       "Sockets/TextOfCode.errorTextIsOneReadableLine/25",
                       "Network/TextOfCode.errorTextIsOneReadableLine/0",
                       "Network/TextOfCode.errorTextIsOneReadableLine/1",
                       "Network/TextOfCode.errorTextIsOneReadableLine/2",
                       "Network/TextOfCode.errorTextIsOneReadableLine/3",
                       "Network/TextOfCode.errorTextIsOneReadableLine/5",
                       "Network/TextOfCode.errorTextIsOneReadableLine/6",
                       "Network/TextOfCode.errorTextIsOneReadableLine/7",
                       "Network/TextOfCode.errorTextIsOneReadableLine/8",
                       "Network/TextOfCode.errorTextIsOneReadableLine/9",
                       "Network/TextOfCode.errorTextIsOneReadableLine/11",
                       "Network/TextOfCode.errorTextIsOneReadableLine/12",
                       "Network/TextOfCode.errorTextIsOneReadableLine/13",
                       "Network/TextOfCode.errorTextIsOneReadableLine/14",
                       "SecurityPackage/TextOfCode.errorTextIsOneReadableLine/*",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/0",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/1",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/2",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/3",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/4",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/5",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/6",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/7",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/8",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/9",
                       "CertificatesAndBase/TextOfCode.errorTextIsOneReadableLine/10"}};

const Group noTerminator = {"Wine does not terminate a truncated path",
                            {"GetModuleFileNameW.longerPathIsTruncated"}};

const Group defaultCharacterTaken = {"Wine accepts a default character for UTF-8",
                                     {"WideCharToMultiByte.utf8RefusesDefaultCharacter"}};

const Group noWaitAll = {"Wine does not wait for all bytes with MSG_WAITALL",
                         {"Transfers.waitAllGathersSingleBytes",
                          "EventReceive.waitAllGathersSingleBytes", "Transfers.waitAllCannotPeek"}};

const Group otherArgumentChecks = {
    "Wine checks fewer arguments of this call, or in another order",
    {"Transfers.unknownFlagBitsAreRefused", "ScatteredTransfers.transfersRefuseInvalidArguments",
     "ScatteredTransfers.sendGathersAndReceiveScatters", "Select.nonSocketFailsAndLeavesTheSets",
     "Select.countBeyondTheArrayIsInvalid", "Select.malformedTimeoutIsInvalid",
     "CompletionPort.dequeueRefusesNullOutputs", "AcceptEx.acceptRefusesInvalidArguments",
     "Connections.connectRefusesInvalidArguments",
     "Connections.acceptWithTooSmallAddressKeepsTheConnection",
     "WsaConnect.connectLeavesNoCalleeData", "WsaConnect.callerDataIsNotSupported",
     "WsaAccept.unknownConditionResultIsInvalid", "EventReceive.resultForAnotherSocketIsInvalid",
     "Names.failuresAreWinsockCodesInResultAndLastError",
     "Names.wideFailuresAreWinsockCodesInResultAndLastError", "Names.tooSmallBufferIsFault",
     "Names.invalidAddressFails", "Events.closedEventIsInvalidHandle"}};

const Group noHugeGather = {"Wine sends no more buffers at once than one system call takes",
                            {"ScatteredTransfers.moreBuffersThanOneSystemCallTakesAreSent"}};

const Group routineAlone = {"Winsock does not document a receive with a routine and no structure",
                            {"ScatteredTransfers.receiveWithRoutineButNoStructureBlocks"}};

const Group failedConnect = {"Winsock reports a failed connect in the exception set only",
                             {"Select.failedConnectEndsTheWaitForWriting"}};

const Group otherErrorsOfClosedSockets = {
    "Wine has other error codes for a socket that is closed or reset during an operation",
    {"PortReceive.failedCompletionCarriesItsErrorCode",
     "PortReceive.closingTheSocketAbortsPendingReceives",
     "CompletionRoutines.routineReportsClosedSocket",
     "CompletionRoutines.closingOnAnotherThreadWakesTheRoutinesThread",
     "EventReceive.closingTheSocketAbortsPendingReceives",
     "EventReceive.closingTheSocketEndsTheWaitOfAnotherThread",
     "EventReceive.closingTheSocketEndsTheWaitForTheResult",
     "CompletionPort.closingThePortEndsEveryWait"}};

const Group handleKindsNotDistinguished = {
    "Windows closes every kind of handle with the same call, and "
    "closing a handle does not end a wait for it",
    {"CompletionPort.eventIsNotAcceptedAsPort", "Events.closingAnEventFailsTheWaitForIt"}};

const Group deferredConnectionLost = {
    "Wine offers a deferred connection to no other call",
    {"WsaAccept.deferredConnectionIsOfferedAgainAndReadyForSelect",
     "AcceptExConcurrency.pendingAcceptTakesDeferredConnection"}};

const Group sendPending = {"Winsock may leave an overlapped send pending",
                           {"EventSend.overlappedSendOnNonBlockingSocketSendsAll"}};

const Group connectAgain = {"Winsock reports an established connection at the second connect",
                            {"Connections.nonBlockingConnectWouldBlock"}};

const Group unsteadyInWine = {
    "Wine passes this on most runs but not on all",
    {"Select.failedConnectIsInTheExceptionSetOnly",
     "AcceptExConcurrency.blockingAcceptSharesTheListener",
     "AcceptExConcurrency.closingTheAcceptSocketAbortsTheWaitForFirstData"}};

const Group rejectionCloses = {"Wine closes a rejected connection without a reset",
                               {"WsaAccept.rejectedConnectionIsRefused"}};

} // namespace

const std::vector<SkippedTest>& skippedTests() {
    static const std::vector<SkippedTest> all = flattened({noForeignPeer,
                                                           validatesNothing,
                                                           oneStatusForAll,
                                                           acceptsNonTls,
                                                           asksForNoCertificate,
                                                           leafOnly,
                                                           otherCounts,
                                                           otherHeaderSize,
                                                           partialRecordIsExtra,
                                                           handleMadeAtOnce,
                                                           alwaysConfidential,
                                                           noCipherInfo,
                                                           noOwnCertificate,
                                                           inboundWithoutCertificate,
                                                           ownStoreNotSearched,
                                                           partialChainAccepted,
                                                           noConstraints,
                                                           keepsAnchors,
                                                           usageIgnored,
                                                           noPendingClose,
                                                           closedStoreIsFreed,
                                                           noUsageSearch,
                                                           subjectText,
                                                           otherTexts,
                                                           noText,
                                                           noTerminator,
                                                           defaultCharacterTaken,
                                                           noWaitAll,
                                                           otherArgumentChecks,
                                                           noHugeGather,
                                                           routineAlone,
                                                           failedConnect,
                                                           otherErrorsOfClosedSockets,
                                                           handleKindsNotDistinguished,
                                                           deferredConnectionLost,
                                                           sendPending,
                                                           connectAgain,
                                                           unsteadyInWine,
                                                           rejectionCloses});
    return all;
}

} // namespace VexaSsl::test
