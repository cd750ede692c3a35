// Times, modes and device numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

// "2023-11-14 22:13:20", in UTC: the same on every machine.
std::string timeText(std::uint32_t time);

// "drwxr-xr-x", as ls writes it; "?" for a type that does not exist.
std::string modeText(std::uint16_t mode);

// Permission bits with four octal digits: "0755".
std::string octalText(std::uint16_t mode);

// Of a device number as the board's kernel and makedev() put it together.
unsigned deviceMajor(std::uint32_t device);
unsigned deviceMinor(std::uint32_t device);
