#include "kfw/settings/kfw_SendMailConfig.h"

namespace vel::kos::kfw {

SendMailConfig::~SendMailConfig() = default;

uint32_t SendMailConfig::isModifiable(uint32_t* pModifiable)
{
    if (!pModifiable) return E_INVALIDARG;
    *pModifiable = isReadOnly() ? 0 : 1;
    return 0;
}

uint32_t SendMailConfig::set(std::string& pField, const char* pValue)
{
    if (!canModify()) return E_WRONG_STATE;
    pField = pValue ? pValue : "";
    return 0;
}

uint32_t SendMailConfig::set(bool& pField, uint32_t pValue)
{
    if (!canModify()) return E_WRONG_STATE;
    pField = pValue != 0;
    return 0;
}

uint32_t SendMailConfig::get(const std::string& pField, char** pValue)
{
    if (!pValue) return E_INVALIDARG;
    *pValue = isInitialized() ? komStrNDup(pField.data(), pField.size()) : nullptr;
    return *pValue ? 0 : E_WRONG_STATE;
}

uint32_t SendMailConfig::get(bool pField, uint32_t* pValue)
{
    if (!pValue) return E_INVALIDARG;
    *pValue = isInitialized() && pField ? 1 : 0;
    return isInitialized() ? 0 : E_WRONG_STATE;
}

} // namespace vel::kos::kfw
