/**
 * @file
 * Everything that libqm offers, in C11 and C++17.
 */
#ifndef QM_H
#define QM_H

#include <qm/api.h>
#include <qm/base_rate.h>
#include <qm/cpu_temperature.h>
#include <qm/dma.h>
#include <qm/error.h>
#include <qm/ethernet.h>
#include <qm/frozen.h>
#include <qm/host_link.h>
#include <qm/interrupts.h>
#include <qm/io_module.h>
#include <qm/lifecycle.h>
#include <qm/log.h>
#include <qm/mask_init.h>
#include <qm/model_init.h>
#include <qm/param.h>
#include <qm/paths.h>
#include <qm/pci.h>
#include <qm/pci_access.h>
#include <qm/pci_topology.h>
#include <qm/persistent_memory.h>
#include <qm/port_io.h>
#include <qm/registry.h>
#include <qm/serial.h>
#include <qm/soc.h>
#include <qm/target.h>
#include <qm/threads.h>
#include <qm/time.h>

#endif
