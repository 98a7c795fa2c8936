#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// The platform's kernel variables as far as Linux knows them. The value is the variable's bytes as the platform has them:
//   "hw.model"             the machine's model as NUL-terminated UTF-8: the product name of its DMI table
//                          (/sys/class/dmi/id/product_name), else the model of its device tree (/proc/device-tree/model)
//   "hw.physicalcpu_max"   4 bytes: the number of processor cores, counted by their groups of processors
//                          (/sys/devices/system/cpu/cpu*/topology/core_cpus_list, or thread_siblings_list on older kernels)
//   "hw.cpufrequency_max"  8 bytes: the highest frequency of a processor in hertz
//                          (/sys/devices/system/cpu/cpu*/cpufreq/cpuinfo_max_freq)
// Nothing for any other name and where those files are missing, empty or unreadable. `root` stands before these paths.
[[nodiscard]] std::optional<std::string> kernelVariable(std::string_view name, const std::filesystem::path& root = "/");
