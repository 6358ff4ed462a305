#include "qm_common/information_files.hpp"
#include "qm_common/text_file.hpp"
#include <qm/target.h>

namespace {

constexpr char kDefaultMarketingName[] = "MarketingName";
constexpr char kMaker[] = "Quillmark";
constexpr char kIdentity[] = "";  // a text for the individual target; none is defined

std::string whiteLine(const std::string& text)
{
    return "<white>" + text + "</white>";
}

}  // namespace

std::string qm_getTargetScreenLine1()
{
    const std::string name = qm::readFirstLine(qm::kMarketingNameFile).value_or(kDefaultMarketingName);
    return whiteLine(std::string(kMaker) + " " + name + " " + kIdentity);
}

std::string qm_getTargetScreenLine2()
{
    return whiteLine(qm::readFirstLine(qm::kVersionFile).value_or(""));
}
