#include "ui/settings/dialog_parts.h"

#include "settings/varno_sv_setting.h"

std::string StoredText::Get() const {
    return CVarnoSVSetting::GetInstance().GetXMLConfLangItemVal(id, english);
}
