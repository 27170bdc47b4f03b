#include "config/OptionChecks.h"
#include "config/LogTexts.h"

#include "config/OptionMap.h"
#include "config/Vocabulary.h"

#include <stdexcept>
#include <string>

namespace VexaSsl {

bool sameWord(const std::wstring& left, const std::wstring& right) {
    return CaseInsensitiveEqual()(left, right);
}

bool parseBoolean(const std::wstring& text, bool& result) {
    const bool isTrue = sameWord(text, ConfigurationDefinition::Values::True);
    if (!isTrue && !sameWord(text, ConfigurationDefinition::Values::False)) {
        return false;
    }
    result = isTrue;
    return true;
}

bool refuseValue(ILog& log, const std::wstring& optionName, const std::wstring& value) {
    log.log(Severity::Error,
            LogTexts::suppliedValuePrefix + value + L"] of " + optionName + L" is invalid");
    return false;
}

void throwInvalidConfiguration() {
    throw std::out_of_range("invalid configuration");
}

} // namespace VexaSsl
