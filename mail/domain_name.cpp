#include "mail/domain_name.h"

#include <cstring>
#include <unistd.h>

namespace pm {

void trimDomainName(char* text) {
    const size_t blanks = std::strspn(text, " \t");
    const size_t length = std::strlen(text + blanks);
    std::memmove(text, text + blanks, length + 1);
    if (length > 0 && text[length - 1] == '.')
        text[length - 1] = '\0';
}

void readDomainName(Text<255>& szDomainName) {
    szDomainName.clear();
    if (getdomainname(szDomainName.data(), szDomainName.capacity()) != 0)
        szDomainName.clear();
    szDomainName.terminate();
    trimDomainName(szDomainName.data());
}

bool isNoDomainName(const Text<255>& szDomainName) {
    return szDomainName.empty() || szDomainName.equals("(none)");
}

} // namespace pm
