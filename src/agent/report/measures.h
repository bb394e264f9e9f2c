// Numbers of an inventory as people say them.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace agent {

// Of a text that is nothing but a decimal number, blanks around it aside.
std::optional<uint64_t> WholeNumber(std::string_view text);

// Whether it reads as a number: a sign, digits, and digits after a point.
bool IsNumber(std::string_view text);

// "512 MB", "71.8 GB", "977 GB": of megabytes of 1,000,000 bytes.
std::string DiskSizeText(uint64_t megabytes);

// "512 MiB", "15.6 GiB": of megabytes of 1,048,576 bytes.
std::string MemorySizeText(uint64_t mebibytes);

// "4 days 2 hours", the two largest parts.
std::string DurationText(uint64_t seconds);

// "1 disk", "2 disks".
std::string CountText(uint64_t count, std::string_view one, std::string_view many);

}  // namespace agent
