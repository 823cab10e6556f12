#pragma once

#include <cstdint>
#include <string>

// Localized texts by number. The module and the language are the thread's own.
namespace tsasync::modRes {

// A negative `hModule` selects the component's own module.
void SetResModule(std::int32_t hModule);

// 0 or a negative value selects the user's default language. Counts for every later look-up on this thread.
void SetLangID(std::int32_t iLangID);

// The text in the chosen language, else in the system's neutral choice, else in English (1033), decided block
// by block; empty when there is none.
std::u16string LoadResText(std::int32_t lID);

}  // namespace tsasync::modRes
