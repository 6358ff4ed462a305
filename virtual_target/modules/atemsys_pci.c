// SPDX-License-Identifier: GPL-2.0-only
/*
 * Stands where the EtherCAT master's driver is on a target: it takes Ethernet
 * cards from the network and does nothing with them.
 *
 * A card can be bound once its IDs have been written to new_id. That takes no
 * card which has a driver.
 */
#include <linux/module.h>
#include <linux/pci.h>

static int atemsys_probe(struct pci_dev *pdev, const struct pci_device_id *id)
{
	return 0;
}

static struct pci_driver atemsys_driver = {
	.name = "atemsys_pci",
	.id_table = NULL, /* new_id fills it */
	.probe = atemsys_probe,
};
module_pci_driver(atemsys_driver);

MODULE_DESCRIPTION("Takes Ethernet cards for an EtherCAT master");
MODULE_AUTHOR("The libqm developers");
MODULE_VERSION("1");
MODULE_LICENSE("GPL");
