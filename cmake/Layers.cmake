# The gateway's layers, lowest first. A layer compiles the sources under the
# paths it names (from src/, a folder or a file without its extension) and
# includes and links only the layers before it; a file belongs to the layer
# that names the longest of its paths. tests/layers checks every include of
# src/ against this table.
set(LUMBRIX_LAYERS foundation ipc codec gateway main)
set(LUMBRIX_LAYER_foundation common/core common/util)
set(LUMBRIX_LAYER_ipc common/ipc)
# The link codec and the definitions it reads, which stand alone (the App
# envelope codec is the generated lumbrix_proto).
set(LUMBRIX_LAYER_codec msgHandle/XoltProtocol msgHandle/XoltCrc msgHandle/XoltByteOrder
  msgHandle/XoltMessageDefine msgHandle/RcCommandDefine msgHandle/AtCommandDefine msgHandle/NestCommandDefine
  msgHandle/Utf8Text msgHandle/xolt2Protobuf/RcKeyDefine)
# The endpoints, framework and handlers, which call one another.
set(LUMBRIX_LAYER_gateway dataAccess framework msgHandle)
set(LUMBRIX_LAYER_main main)

# lumbrix_layer_of(FILE OUT): the layer of FILE (a path from src/), or "".
function(lumbrix_layer_of file out)
  set(best "")
  set(bestLength 0)
  foreach(layer ${LUMBRIX_LAYERS})
    foreach(prefix ${LUMBRIX_LAYER_${layer}})
      string(LENGTH "${prefix}" length)
      if(length GREATER bestLength AND (file MATCHES "^${prefix}/" OR file MATCHES "^${prefix}\\.[a-z]+$"))
        set(best ${layer})
        set(bestLength ${length})
      endif()
    endforeach()
  endforeach()
  set(${out} "${best}" PARENT_SCOPE)
endfunction()
