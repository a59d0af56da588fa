// The library's operations and return codes by name.
#pragma once

#include "zanml/operations.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>

namespace zansim {

enum class Operation : unsigned {
#define ZANSIM_ENUMERATOR(name) name,
  ZANML_OPERATIONS(ZANSIM_ENUMERATOR)
#undef ZANSIM_ENUMERATOR
};

inline constexpr std::array kOperationNames{
#define ZANSIM_NAME(name) std::string_view(#name),
    ZANML_OPERATIONS(ZANSIM_NAME)
#undef ZANSIM_NAME
};

constexpr std::size_t kOperationCount = kOperationNames.size();

using OperationSet = std::bitset<kOperationCount>;

constexpr std::size_t indexOf(Operation operation) { return static_cast<std::size_t>(operation); }

// The operations whose name matches a shell's pattern, in which "*" stands for any run of
// characters.
OperationSet operationsMatching(const std::string& pattern);

struct ReturnCodeName {
  std::string_view name;
  nvmlReturn_t code;
};

inline constexpr std::array kReturnCodeNames{
    ReturnCodeName{"uninitialized", NVML_ERROR_UNINITIALIZED},
    ReturnCodeName{"invalid_argument", NVML_ERROR_INVALID_ARGUMENT},
    ReturnCodeName{"not_supported", NVML_ERROR_NOT_SUPPORTED},
    ReturnCodeName{"no_permission", NVML_ERROR_NO_PERMISSION},
    ReturnCodeName{"already_initialized", NVML_ERROR_ALREADY_INITIALIZED},
    ReturnCodeName{"not_found", NVML_ERROR_NOT_FOUND},
    ReturnCodeName{"insufficient_size", NVML_ERROR_INSUFFICIENT_SIZE},
    ReturnCodeName{"insufficient_power", NVML_ERROR_INSUFFICIENT_POWER},
    ReturnCodeName{"driver_not_loaded", NVML_ERROR_DRIVER_NOT_LOADED},
    ReturnCodeName{"timeout", NVML_ERROR_TIMEOUT},
    ReturnCodeName{"irq_issue", NVML_ERROR_IRQ_ISSUE},
    ReturnCodeName{"library_not_found", NVML_ERROR_LIBRARY_NOT_FOUND},
    ReturnCodeName{"function_not_found", NVML_ERROR_FUNCTION_NOT_FOUND},
    ReturnCodeName{"corrupted_inforom", NVML_ERROR_CORRUPTED_INFOROM},
    ReturnCodeName{"gpu_is_lost", NVML_ERROR_GPU_IS_LOST},
    ReturnCodeName{"reset_required", NVML_ERROR_RESET_REQUIRED},
    ReturnCodeName{"operating_system", NVML_ERROR_OPERATING_SYSTEM},
    ReturnCodeName{"lib_rm_version_mismatch", NVML_ERROR_LIB_RM_VERSION_MISMATCH},
    ReturnCodeName{"in_use", NVML_ERROR_IN_USE},
    ReturnCodeName{"memory", NVML_ERROR_MEMORY},
    ReturnCodeName{"no_data", NVML_ERROR_NO_DATA},
    ReturnCodeName{"unknown", NVML_ERROR_UNKNOWN},
};

}  // namespace zansim
