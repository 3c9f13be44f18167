// Fuzz target of the rule-file reader. The input is a rule file: it is loaded under each
// keyword and queried with a few paths, one of them taken from the input itself. Queries
// must end (the engine's limits stop runaway patterns) and give only non-empty values.
#include <cstdint>
#include <string>

#include "General/Resources/ResourceRuleFile.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const char *text = reinterpret_cast<const char *>(data);
    const std::string ownPath(text, size < 64 ? size : 64);
    const char *inputs[] = {"data/a.ini", "textures/Wall.TGA", "", ownPath.c_str()};
    for (const char *keyword : {"PATHRULE", "TAGRULE", "TYPERULE"}) {
        TResourceRuleFile rules(keyword);
        rules.LoadText(text, size);
        for (const char *input : inputs) {
            TLibVector<TParameterList> out;
            Check(rules.Query(input, out, nullptr));
            for (const TParameterList &list : out) {
                Check(list.GetParameterCount() > 0);
                TDynamicString name;
                for (int i = 0; i < list.GetParameterCount(); ++i)
                    Check(!list.GetParameter(i, name)->IsEmpty());
            }
        }
    }
    return 0;
}
