import ctypes
import sys

library = ctypes.CDLL("libzanml.so")
count = ctypes.c_uint()
if library.nvmlInit() or library.nvmlDeviceGetCount_v2(ctypes.byref(count)):
    sys.exit("the library does not start")
for index in range(count.value):
    gpu, celsius = ctypes.c_void_p(), ctypes.c_uint()
    code = library.nvmlDeviceGetHandleByIndex_v2(index, ctypes.byref(gpu))
    code = code or library.nvmlDeviceGetTemperature(gpu, 0, ctypes.byref(celsius))
    print(f"GPU {index}:", f"return code {code}" if code else f"{celsius.value} C")
library.nvmlShutdown()
