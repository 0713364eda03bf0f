// What the platform information service tells about the terminal. Any thread may call.
#ifndef WZAPP_SUPPORT_PLATFORM_INFO_H
#define WZAPP_SUPPORT_PLATFORM_INFO_H

#include <string>
#include <string_view>

namespace wzapp {

// The model's name, cut to what tells models apart: mostly its first four characters. "unkn" when
// the service does not answer. Asked for once per process; the text stays until the process ends.
[[nodiscard]] const char* modelName();

// 1 if the terminal has a touch screen, else 0. Found out once per process.
[[nodiscard]] int hasTouchScreen();

// Whether the model `name` has one, where the device itself does not tell.
[[nodiscard]] bool hasTouchScreenOfModel(std::string_view name);

// The display's size in pixels and its colour depth in bits, 24 or 1; -1, -1 and 0 when unknown.
void displayInfo(int& width, int& height, int& depth);

// The memory size in units of 1024 octets, rounded down; 0 when unknown.
[[nodiscard]] unsigned int memorySizeKB();

// The number of keys of the terminal's keypad: that of its model, or else what the service tells; 0
// when that is unknown too.
[[nodiscard]] int keyCount();

// The number of keys of the model `name`, in any case; kUnknownKeyCount when the name is too short
// to tell.
[[nodiscard]] int keyCountOfModel(std::string_view name);
inline constexpr int kUnknownKeyCount = -1;

// The serial number without white space around it; eleven zeros when unknown. May throw
// std::bad_alloc.
[[nodiscard]] std::string terminalSerialNumber();

// The model as the service names it, without white space around it; empty when unknown. May throw
// std::bad_alloc.
[[nodiscard]] std::string terminalModel();

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_PLATFORM_INFO_H
