// What Wine doesn't show as Windows does, and what only a foreign TLS library could show.
// Everything else of the suite has to pass.
#include "contract/support/ContractTest.h"

namespace VexaSsl::test {
namespace {

struct Group {
    const char* reason;
    std::vector<const char*> tests;
};

std::vector<Exception> flattened(const std::vector<Group>& groups) {
    std::vector<Exception> all;
    for (const Group& group : groups)
        for (const char* test : group.tests)
            all.push_back({test, group.reason});
    return all;
}

const Group noForeignPeer = {
    "a Windows test has no foreign TLS library to play the peer in memory; the tests across "
    "systems meet foreign peers over sockets",
    {"Suites.*", "All/GoodSuite.*", "All/BadSuite.*", "ServerTrust.*", "ServerNameIndication.*",
     "ForgedRecords.*", "Closure.expiresTheContextNowAndLater",
     "Closure.comesBehindTheDataBeforeIt", "Closure.stillLetsThisSideSend",
     "Closure.isNotSentWhenAContextIsDeleted",
     "Renegotiation.aHelloRequestIsToldAndAnsweredByNothing",
     "Renegotiation.aClientsHelloIsToldAndAnsweredByNothing",
     "Renegotiation.askingAgainGivesTheSameAnswer", "Renegotiation.aTamperedRequestIsNoRequest",
     "PackageHandshake.bytesBehindTheLastRecordAreReportedAsExtra",
     "PackageHandshake.aFinishedServerReportsAClientsEarlyDataAsExtra",
     "ClientCertificate.noListOfAuthoritiesIsSent",
     "ClientCertificate.aClientThatDoesNotHoldTheKeyIsRefused"}};

const Group validatesNothing = {
    "Wine's Schannel judges neither certificates nor names",
    {"PackageHandshake.theAlertEntryIsNeverTouched", "PackageHandshake.aRefusalBringsNoToken",
     "PackageHandshake.aFailedContextGivesTheSameStatusAgain", "Names/NoName.*",
     "ManualValidation.leavesOtherCredentialsAsStrictAsBefore"}};

const Group oneStatusForAll = {
    "Wine's Schannel has one status, SEC_E_INTERNAL_ERROR, for most failures",
    {"Closure.insteadOfAHandshakeMessageIsAFailure", "Closure.anAlertInsteadOfAFlightTellsItsCause",
     "Renegotiation.dataThatPretendsToBeARequestIsNoRequest",
     "PackageHandshake.anEstablishedContextNegotiatesNoMore",
     "PackageHandshake.aTlsRecordThatHoldsNonsenseIsIllegal",
     "Protection.aChangedTagIsAnAlteredMessage", "Protection.aRepeatedRecordIsAnAlteredMessage",
     "Protection.aLeftOutRecordIsAnAlteredMessage",
     "Protection.afterAFailureBothDirectionsFailWithItsStatus",
     "Protection.protectingAndOpeningBeforeTheHandshakeIsRefused",
     "Handles.ofADeletedContextAreVoid"}};

const Group noLookAtBytes = {"Wine's Schannel takes what is no TLS for the beginning of a record",
                             {"Starts/NoTls.*", "Protection.bytesThatAreNoTlsAreRefusedAtOnce",
                              "Protection.recordsTooShortToBeAuthenticAreRefused"}};

const Group asksNoClient = {
    "Wine's Schannel asks no client for a certificate",
    {"Certificates/Taken.*", "ClientCertificate.theChainAsSentLiesInItsStore",
     "ClientCertificate.outlivesTheContext", "ClientCertificate.aClientWithoutOneIsTakenToo",
     "ClientCertificate.isNotSentUnasked",
     "ClientCertificate.mutualAuthenticationIsClaimedOnlyWithOne", "SuppliedCredentials.*"}};

const Group leafOnly = {"Wine's Schannel sends a certificate without its issuer",
                        {"ClientCertificate.aClientSeesTheServersChain"}};

const Group otherCounts = {"Wine's Schannel reports other sizes: no limit to a message, none "
                           "without bytes, and a missing count beside a wrong one",
                           {"Protection.moreThanTheMaximumIsRefusedAndHarmsNothing",
                            "Protection.anEmptyMessageIsMadeOrRefusedAndHarmsNothing",
                            "Protection.theMissingCountIsExactAtEveryByte"}};

const Group aesOfGnuTls = {"Wine counts the nonce of a record as data, not as header",
                           {"Protection.thePlaintextLiesInsideTheInput"}};

const Group pieceBehindWholeRecords = {
    "Schannel takes whole records out of an unfinished flight and leaves the piece behind them as "
    "SECBUFFER_EXTRA",
    {"PackageHandshake.theMissingCountIsThatOfTheLastRecordInHand"}};

const Group handleMadeAtOnce = {"Wine makes a context for a partial hello already",
                                {"PackageHandshake.anIncompleteRecordConsumesAndCreatesNothing"}};

const Group alwaysConfidential = {
    "Wine's Schannel claims confidentiality always",
    {"PackageHandshake.confidentialityThatWasNotAskedForIsNotClaimed"}};

const Group noCipherInfo = {
    "Wine's Schannel names no suite, and tells of a connection before there is one",
    {"CipherInfo.*"}};

const Group inboundWithoutCertificate = {
    "Wine's Schannel gives a server credentials without a certificate",
    {"Credentials.aServerNeedsOne"}};

const Group ownStoreNotSearched = {"Wine looks for issuers in the additional store and the "
                                   "system's, not in that of the certificate",
                                   {"CertGetCertificateChain.elementsGoFromTheLeafToItsRoot",
                                    "CertGetCertificateChain.chainOutlivesTheCertificate"}};

const Group partialIsContent = {"Wine's SSL policy is content with a chain whose issuer is missing",
                                {"ChainPolicy.missingIssuerIsTheFaultOfTheLastOnePresent",
                                 "ChainPolicy.missingIssuerComesBeforeExpired"}};

const Group noConstraints = {"Wine's SSL policy doesn't tell of what an authority is not allowed",
                             {"ChainPolicy.issuerThatIsNoAuthorityIsTheElementAtFault",
                              "ChainPolicy.chainLongerThanItsAuthorityAllows",
                              "ChainPolicy.nameThatTheIssuerDoesNotPermit"}};

const Group keepsAnchors = {"Wine keeps the anchors that a process's first chain found",
                            {"CertGetCertificateChain.newAnchorCountsAtOnce"}};

const Group usageNotLookedAt = {
    "the requested usage is ignored when the size of the parameters is 0",
    {"ChainPolicy.usageThatIsNotNamedIsWrong", "ChainPolicy.usageOtherThanThoseOfTlsIsLookedAtToo",
     "ChainPolicy.usageThatTheIntermediateExcludesIsItsFault",
     "CertGetCertificateChain.everyFaultStandsAtItsElement"}};

const Group noPendingClose = {"Wine closes a system store without a look at contexts that are held",
                              {"CertCloseStore.contextStillHeldIsPending",
                               "CertCloseStore.duplicateStillHeldIsPending",
                               "CertGetCertificateChain.chainHoldsTheCertificateOfAStore"}};

const Group noUsageSearch = {"Wine doesn't search by usage",
                             {"UsageSearch.findsTheCertificatesThatNameTheUsage",
                              "UsageSearch.severalUsagesMustAllBeNamed"}};

const Group subjectText = {
    "Wine folds the case of ASCII letters only, and joins the subject in another order",
    {"SubjectSearch.caseDoesNotCountForAccentedLettersEither",
     "SubjectSearch.valuesAreJoinedByCommaAndBlank"}};

const Group otherTexts = {"Wine has another text for this number",
                          {"FormatMessageW.zeroIsSuccess",
                           "FormatMessageW.withoutTheMaskForOneLineTheTextEndsWithALineEnd",
                           "FormatMessageW.writesIntoTheCallersBuffer"}};

const Group noText = {"Wine has no text for this number",
                      {"Sockets/TextOfCode.isOneReadableLine/12",
                       "Sockets/TextOfCode.isOneReadableLine/13",
                       "Sockets/TextOfCode.isOneReadableLine/14",
                       "Sockets/TextOfCode.isOneReadableLine/15",
                       "Sockets/TextOfCode.isOneReadableLine/16",
                       "Sockets/TextOfCode.isOneReadableLine/17",
                       "Sockets/TextOfCode.isOneReadableLine/18",
                       "Sockets/TextOfCode.isOneReadableLine/19",
                       "Sockets/TextOfCode.isOneReadableLine/20",
                       "Sockets/TextOfCode.isOneReadableLine/21",
                       "Sockets/TextOfCode.isOneReadableLine/22",
                       "Sockets/TextOfCode.isOneReadableLine/23",
                       "Sockets/TextOfCode.isOneReadableLine/24",
                       "Sockets/TextOfCode.isOneReadableLine/25",
                       "Network/TextOfCode.isOneReadableLine/0",
                       "Network/TextOfCode.isOneReadableLine/1",
                       "Network/TextOfCode.isOneReadableLine/2",
                       "Network/TextOfCode.isOneReadableLine/3",
                       "Network/TextOfCode.isOneReadableLine/5",
                       "Network/TextOfCode.isOneReadableLine/6",
                       "Network/TextOfCode.isOneReadableLine/7",
                       "Network/TextOfCode.isOneReadableLine/8",
                       "Network/TextOfCode.isOneReadableLine/9",
                       "Network/TextOfCode.isOneReadableLine/11",
                       "Network/TextOfCode.isOneReadableLine/12",
                       "Network/TextOfCode.isOneReadableLine/13",
                       "Network/TextOfCode.isOneReadableLine/14",
                       "SecurityPackage/TextOfCode.isOneReadableLine/*",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/0",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/1",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/2",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/3",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/4",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/5",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/6",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/7",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/8",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/9",
                       "CertificatesAndBase/TextOfCode.isOneReadableLine/10"}};

const Group noTerminator = {"Wine doesn't end a path that it has cut",
                            {"GetModuleFileNameW.longerPathIsCut"}};

const Group defaultCharacterTaken = {"Wine takes a default character for UTF-8",
                                     {"WideCharToMultiByte.utf8KnowsNoDefaultCharacter"}};

const Group noWaitAll = {"Wine takes MSG_WAITALL for no more than a wish",
                         {"Transfers.waitAllGathersFromAPeerThatSendsByteByByte",
                          "EventReceive.waitAllGathersFromAPeerThatSendsByteByByte",
                          "Transfers.waitAllCannotPeek"}};

const Group looseArguments = {
    "Wine looks at the arguments of this call less closely, or in another order",
    {"Transfers.unknownFlagBitsAreRefused", "ScatteredTransfers.badArgumentsAreFaults",
     "ScatteredTransfers.sendGathersAndReceiveScatters",
     "Select.whatIsNoSocketIsToldApartAndTheSetsStay", "Select.countBeyondTheArrayIsInvalid",
     "Select.timesThatAreNoneAreInvalid", "CompletionPort.dequeueNeedsItsOutPlaces",
     "AcceptEx.argumentsAreChecked", "Connections.connectArgumentsAreChecked",
     "Connections.acceptWithTooLittleRoomForTheAddressCostsNoConnection",
     "WsaConnect.connectsAndLeavesNoCalleeData", "WsaConnect.callerDataIsNotSupported",
     "WsaAccept.unknownAnswerIsInvalid", "EventReceive.resultOfAnOperationOnAnotherSocketIsInvalid",
     "Names.failuresAreWinsockNumbersInResultAndSlot",
     "Names.wideFailuresAreWinsockNumbersInResultAndSlot", "Names.tooSmallABufferIsAFault",
     "Names.addressThatIsNoneFails", "Events.staleHandlesAreInvalid"}};

const Group noHugeGather = {"Wine sends no more pieces at once than its own system takes",
                            {"ScatteredTransfers.moreBuffersThanTheSystemTakesAtOnceAreAllSent"}};

const Group routineAlone = {
    "a receive with a routine and no structure is not said to be a plain one in Winsock",
    {"ScatteredTransfers.receiveWithARoutineAndNoStructureIsAPlainOne"}};

const Group failedConnect = {"Winsock tells of a failed connect in the exception set only",
                             {"Select.failedConnectEndsAWaitThatAsksForWritingOnly"}};

const Group otherClosingNumbers = {
    "Wine tells of a socket that was closed or reset under an operation with other numbers",
    {"PortReceive.failureCarriesItsNumber", "PortReceive.closingTheSocketAbortsWhatIsPending",
     "CompletionRoutines.tellOfAClosedSocket",
     "CompletionRoutines.wakeTheirThreadWhenAnotherThreadCloses",
     "EventReceive.closingTheSocketAbortsWhatIsPending",
     "EventReceive.closingTheSocketEndsTheWaitOfAnotherThread",
     "EventReceive.closingTheSocketEndsAWaitForTheResult", "CompletionPort.closingEndsEveryWait"}};

const Group handlesAlike = {"a handle of another kind may be closed with the same call, and the "
                            "wait for one that is closed goes on",
                            {"CompletionPort.eventIsNoPort", "Events.closingOneFailsTheWaitForIt"}};

const Group deferredStays = {"Wine gives a deferred connection to no other call",
                             {"WsaAccept.deferredConnectionComesAgainAndIsReadyForSelect",
                              "AcceptExNeighbours.deferredConnectionIsTakenByAPendingOne"}};

const Group sendPending = {"an overlapped send may be pending in Winsock",
                           {"EventSend.sendsEverythingEvenOnANonBlockingSocket"}};

const Group connectAgain = {
    "Winsock tells of an established connection at the second connect already",
    {"Connections.nonBlockingConnectWouldBlock"}};

const Group notEveryTime = {"Wine shows this on most runs and something else on some",
                            {"Select.failedConnectIsAnExceptionAndNothingElse",
                             "AcceptExNeighbours.blockingAcceptBesideItGetsItsConnection",
                             "AcceptExNeighbours.closingTheAcceptSocketAbortsTheWaitForFirstData"}};

const Group rejectionCloses = {"Wine closes a rejected connection in order",
                               {"WsaAccept.rejectionRefusesTheConnection"}};

} // namespace

const std::vector<Exception>& exceptionsOfThisSystem() {
    static const std::vector<Exception> all = flattened({noForeignPeer,
                                                         validatesNothing,
                                                         oneStatusForAll,
                                                         noLookAtBytes,
                                                         asksNoClient,
                                                         leafOnly,
                                                         otherCounts,
                                                         aesOfGnuTls,
                                                         pieceBehindWholeRecords,
                                                         handleMadeAtOnce,
                                                         alwaysConfidential,
                                                         noCipherInfo,
                                                         inboundWithoutCertificate,
                                                         ownStoreNotSearched,
                                                         partialIsContent,
                                                         noConstraints,
                                                         keepsAnchors,
                                                         usageNotLookedAt,
                                                         noPendingClose,
                                                         noUsageSearch,
                                                         subjectText,
                                                         otherTexts,
                                                         noText,
                                                         noTerminator,
                                                         defaultCharacterTaken,
                                                         noWaitAll,
                                                         looseArguments,
                                                         noHugeGather,
                                                         routineAlone,
                                                         failedConnect,
                                                         otherClosingNumbers,
                                                         handlesAlike,
                                                         deferredStays,
                                                         sendPending,
                                                         connectAgain,
                                                         notEveryTime,
                                                         rejectionCloses});
    return all;
}

} // namespace VexaSsl::test
