#include "render/ShaderManager.h"

#include "render/ShaderProgram.h"
#include "render/ShaderTexts.h"
#include "scene/RenderItem.h"

#include <memory>
#include <stdexcept>

namespace Velda {

ShaderManager::~ShaderManager()
{
    for (const auto& entry : programs_)
        delete entry.second;
}

ShaderProgram* ShaderManager::acquireProgram(const std::string& name, FrameContext*, RenderItem* item)
{
    const std::string key = name + "-" + (item ? variantKeyOf(*item) : std::string());
    const auto found = programs_.find(key);
    if (found != programs_.end())
        return found->second;

    const std::string& text = shaderText(name);
    const std::string global = programSection(text, "global");
    static const ShaderProgram::Macros noMacros;
    const ShaderProgram::Macros& macros = item ? item->macroTable : noMacros;

    // A compile that throws leaves nothing behind: the next frame tries again.
    auto program = std::make_unique<ShaderProgram>(owner_);
    program->compileVertex(global + "\n" + programSection(text, "vertex"), macros);
    program->compileFragment(global + "\n" + programSection(text, "fragment"), macros);
    program->link();
    programs_.emplace(key, program.get());
    return program.release();
}

const std::string& variantKeyOf(RenderItem& item)
{
    if (item.macrosReady)
        return item.variantKey;

    std::string key;
    const auto count = [&](const char* macro, size_t lights) {
        const std::string number = std::to_string(lights);
        item.macroTable[macro] = number;
        key += "_" + number;
    };
    count("UNI_DCTLIGHT_NUM", item.directionalLights.size());
    count("UNI_PTLIGHT_NUM", item.pointLights.size());
    count("UNI_SPOTLIGHT_NUM", item.spotLights.size());

    // Macros are only ever added, never taken out or changed: a flag that went
    // off keeps its macro in the table, though not in the key.
    for (int k = 0; k < RenderItem::kChannels; ++k) {
        const bool on = !item.macroNames[k].empty();
        if (on)
            item.macroTable.emplace(item.macroNames[k], item.macroValues[k]);
        key += on ? "_1" : "_0";
    }
    const auto flag = [&](bool on, const char* macro, const char* onPart, const char* offPart) {
        if (on)
            item.macroTable.emplace(macro, "1");
        key += on ? onPart : offPart;
    };
    flag(item.bump, "OK_BUMP", "_B", "_NB");
    flag(item.colorRamp, "OK_COLOR", "_C", "_NC");
    flag(item.water, "OK_WATER", "_WA", "_NW");
    flag(item.whiteModel, "OK_WHITE", "_WH", "_NH");
    flag(item.night, "OK_NIGHT", "_T", "_NT");
    flag(!item.noSky, "OK_SKY", "_S", "_NS");
    // The review tools' switch leaves the table when it goes off: a program
    // made for a plain key must never carry it.
    if (item.review) {
        item.macroTable["OK_REVIEW"] = "1";
        key += "_R";
    } else {
        item.macroTable.erase("OK_REVIEW");
    }

    item.variantKey = key;
    item.macrosReady = true;
    return item.variantKey;
}

const std::string& shaderText(const std::string& name)
{
    static const std::map<std::string, std::string> texts = [] {
        std::map<std::string, std::string> byName;
        for (const ShaderTextEntry* entry = builtInShaderTexts(); entry->name; ++entry)
            byName.emplace(entry->name, entry->text);
        return byName;
    }();
    static const std::string none;
    const auto found = texts.find(name);
    return found != texts.end() ? found->second : none;
}

std::string programSection(const std::string& text, const std::string& section)
{
    static const std::string directive = "#include \"";
    std::string cut = shaderSection(text, section);
    size_t at = 0;
    while ((at = cut.find(directive, at)) != std::string::npos) {
        const size_t close = cut.find('"', at + directive.size());
        const size_t lineEnd = cut.find('\n', at);
        if (close == std::string::npos || (lineEnd != std::string::npos && close > lineEnd))
            throw std::logic_error("shader include without its closing quote");
        const std::string name = cut.substr(at + directive.size(), close - at - directive.size());
        const std::string& included = shaderText(name);
        if (included.empty())
            throw std::logic_error("shader include of an unknown text: " + name);
        // Not expanded again: an included text includes nothing.
        const std::string part = shaderSection(included, section);
        cut.replace(at, close + 1 - at, part);
        at += part.size();
    }
    return cut;
}

std::string shaderSection(const std::string& text, const std::string& section)
{
    const std::string open = "#" + section + "begin";
    const std::string close = "#" + section + "end";
    const size_t begin = text.find(open);
    const size_t end = text.find(close);
    // A text without the markers (an unknown name) cuts to nothing.
    if (begin == std::string::npos || end == std::string::npos || end < begin + open.size())
        return std::string();
    return text.substr(begin + open.size(), end - begin - open.size());
}

} // namespace Velda
