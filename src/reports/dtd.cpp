#include "reports/dtd.h"

namespace zanctl {

const std::string_view kDtd =
    R"(<!ELEMENT zanctl_log            (timestamp,
                                 driver_version,
                                 cuda_version,
                                 attached_gpus,
                                 error_string?,
                                 gpu*)>
<!ELEMENT timestamp             (#PCDATA)>
<!ELEMENT driver_version        (#PCDATA)>
<!ELEMENT cuda_version          (#PCDATA)>
<!ELEMENT attached_gpus         (#PCDATA)>
<!ELEMENT error_string          (#PCDATA)>
<!ELEMENT gpu                   (product_name,
                                 serial,
                                 uuid,
                                 minor_number,
                                 multigpu_board,
                                 board_id,
                                 gpu_position,
                                 gpu_part_number,
                                 gpu_virtualization_mode,
                                 pci,
                                 fan_speed,
                                 memory_usage,
                                 utilization,
                                 ecc_mode,
                                 temperature,
                                 power_readings,
                                 clocks,
                                 max_clocks,
                                 compute_mode,
                                 performance_state,
                                 retired_pages,
                                 processes)>
<!ATTLIST gpu id CDATA #REQUIRED>
<!ELEMENT product_name          (#PCDATA)>
<!ELEMENT serial                (#PCDATA)>
<!ELEMENT uuid                  (#PCDATA)>
<!ELEMENT minor_number          (#PCDATA)>
<!ELEMENT multigpu_board        (#PCDATA)>
<!ELEMENT board_id              (#PCDATA)>
<!ELEMENT gpu_position          (#PCDATA)>
<!ELEMENT gpu_part_number       (#PCDATA)>
<!ELEMENT gpu_virtualization_mode (virtualization_mode, host_vgpu_mode)>
<!ELEMENT pci                   (pci_bus, pci_device, pci_domain, pci_device_id, pci_bus_id, pci_sub_system_id, pci_gpu_link_info, tx_util, rx_util)>
<!ELEMENT pci_gpu_link_info     (pcie_gen, link_widths)>
<!ELEMENT pcie_gen              (max_link_gen, current_link_gen)>
<!ELEMENT max_link_gen          (#PCDATA)>
<!ELEMENT current_link_gen      (#PCDATA)>
<!ELEMENT link_widths           (max_link_width, current_link_width)>
<!ELEMENT max_link_width        (#PCDATA)>
<!ELEMENT current_link_width    (#PCDATA)>
<!ELEMENT tx_util               (#PCDATA)>
<!ELEMENT rx_util               (#PCDATA)>
<!ELEMENT fan_speed             (#PCDATA)>
<!ELEMENT memory_usage          (total, used, free)>
<!ELEMENT compute_mode          (#PCDATA)>
<!ELEMENT ecc_mode              (current_ecc, pending_ecc)>
<!ELEMENT utilization           (gpu_util, memory_util, encoder_util, decoder_util)>
<!ELEMENT retired_pages         (multiple_single_bit_retirement, double_bit_retirement)>
<!ELEMENT temperature           (gpu_temp, gpu_temp_max_threshold, gpu_temp_slow_threshold, gpu_temp_max_gpu_threshold)>
<!ELEMENT power_readings        (gpu_power_draw, gpu_power_limit, board_power_draw, board_power_limit)>
<!ELEMENT clocks                (sm_clock, mem_clock)>
<!ELEMENT max_clocks            (sm_clock, mem_clock)>
<!ELEMENT processes             (#PCDATA | process_info)*>
<!ELEMENT virtualization_mode   (#PCDATA)>
<!ELEMENT host_vgpu_mode        (#PCDATA)>
<!ELEMENT pci_bus               (#PCDATA)>
<!ELEMENT pci_device            (#PCDATA)>
<!ELEMENT pci_domain            (#PCDATA)>
<!ELEMENT pci_device_id         (#PCDATA)>
<!ELEMENT pci_sub_system_id     (#PCDATA)>
<!ELEMENT pci_bus_id            (#PCDATA)>
<!ELEMENT total                 (#PCDATA)>
<!ELEMENT used                  (#PCDATA)>
<!ELEMENT free                  (#PCDATA)>
<!ELEMENT current_ecc           (#PCDATA)>
<!ELEMENT pending_ecc           (#PCDATA)>
<!ELEMENT gpu_util              (#PCDATA)>
<!ELEMENT memory_util           (#PCDATA)>
<!ELEMENT encoder_util          (#PCDATA)>
<!ELEMENT decoder_util          (#PCDATA)>
<!ELEMENT multiple_single_bit_retirement (retired_count, retired_pagelist)>
<!ELEMENT double_bit_retirement (retired_count, retired_pagelist)>
<!ELEMENT retired_count         (#PCDATA)>
<!ELEMENT retired_pagelist      (#PCDATA | retired_page)*>
<!ELEMENT retired_page          (retired_page_address, retired_page_timestamp?)>
<!ELEMENT retired_page_address  (#PCDATA)>
<!ELEMENT retired_page_timestamp (#PCDATA)>
<!ELEMENT gpu_temp              (#PCDATA)>
<!ELEMENT gpu_temp_max_threshold (#PCDATA)>
<!ELEMENT gpu_temp_slow_threshold (#PCDATA)>
<!ELEMENT gpu_temp_max_gpu_threshold (#PCDATA)>
<!ELEMENT gpu_power_draw        (#PCDATA)>
<!ELEMENT gpu_power_limit       (#PCDATA)>
<!ELEMENT board_power_draw      (#PCDATA)>
<!ELEMENT board_power_limit     (#PCDATA)>
<!ELEMENT sm_clock              (#PCDATA)>
<!ELEMENT mem_clock             (#PCDATA)>
<!ELEMENT performance_state     (#PCDATA)>
<!ELEMENT process_info          (gpu_instance_id, compute_instance_id, pid, type, process_name, used_memory)>
<!ELEMENT gpu_instance_id       (#PCDATA)>
<!ELEMENT compute_instance_id   (#PCDATA)>
<!ELEMENT pid                   (#PCDATA)>
<!ELEMENT type                  (#PCDATA)>
<!ELEMENT process_name          (#PCDATA)>
<!ELEMENT used_memory           (#PCDATA)>
<!ELEMENT is_running            (#PCDATA)>)";

}  // namespace zanctl
