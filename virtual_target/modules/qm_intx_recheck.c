// SPDX-License-Identifier: GPL-2.0-only
/*
 * Makes the emulated chipset obey Interrupt Disable as real ones do.
 *
 * Models enable a board's interrupt by writing one byte, the upper one of the
 * PCI command register. QEMU 7.2 looks at the Interrupt Disable bit only when
 * a write to the configuration space includes the register's lower byte: after
 * the upper byte alone, an interrupt that was masked while asserted stays lost,
 * and when it is acknowledged QEMU's count of the line's sources goes wrong and
 * the line is stuck. So each such write becomes one of both bytes, the lower as
 * it is.
 *
 * The models, their library and its kernel driver remain what they are on a
 * real machine, where this module has no place.
 */
#include <linux/module.h>
#include <linux/pci.h>
#include <linux/rcupdate.h>

#define COMMAND_HIGH (PCI_COMMAND + 1)

static struct pci_ops *original;
static struct pci_ops wrapped;

static int write_config(struct pci_bus *bus, unsigned int devfn, int where,
			int size, u32 value)
{
	u32 low;
	int err;

	if (where != COMMAND_HIGH || size != 1)
		return original->write(bus, devfn, where, size, value);
	err = original->read(bus, devfn, PCI_COMMAND, 1, &low);
	if (err)
		return err;
	return original->write(bus, devfn, PCI_COMMAND, 2,
			       (value & 0xff) << 8 | (low & 0xff));
}

/* All buses of a PC share one set of operations. */
static void replace_ops(struct pci_bus *bus, struct pci_ops *from,
			struct pci_ops *to)
{
	struct pci_bus *child;

	if (bus->ops == from)
		pci_bus_set_ops(bus, to);
	list_for_each_entry(child, &bus->children, node)
		replace_ops(child, from, to);
}

/* A bus that appears later gets its parent's operations, wrapped or not. */
static void replace_all_ops(struct pci_ops *from, struct pci_ops *to)
{
	struct pci_bus *root = NULL;

	pci_lock_rescan_remove();
	while ((root = pci_find_next_bus(root)))
		replace_ops(root, from, to);
	pci_unlock_rescan_remove();
}

static int __init intx_recheck_init(void)
{
	struct pci_bus *root = pci_find_next_bus(NULL);

	if (!root)
		return -ENODEV;
	original = root->ops;
	wrapped = *original;
	wrapped.write = write_config;
	replace_all_ops(original, &wrapped);
	return 0;
}

static void __exit intx_recheck_exit(void)
{
	replace_all_ops(&wrapped, original);
	/* Somebody may have been preempted inside write_config(). */
	synchronize_rcu_tasks();
}

module_init(intx_recheck_init);
module_exit(intx_recheck_exit);

MODULE_DESCRIPTION("Interrupt Disable in QEMU as on a real chipset");
MODULE_AUTHOR("The libqm developers");
MODULE_VERSION("1");
MODULE_LICENSE("GPL");
