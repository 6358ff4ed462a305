// SPDX-License-Identifier: GPL-2.0-only
/*
 * Hands a PCI board's legacy interrupt to user space through UIO.
 *
 * Boards are taken by the IDs written to new_id, and by no others. The UIO
 * name is "qm" and the address, bus, slot and function in hexadecimal: short
 * enough for a thread's name, and unlike that of a board on the same line.
 *
 * The interrupt is level-triggered: the handler must silence its source, and
 * user space asks for the next one. How is told by two 32-bit writes to the
 * UIO node, the variant of the interrupt fix first and then a bit mask:
 *
 *   0  The handler sets Interrupt Disable in the PCI command register; user
 *	space clears it. Every board can do this. The mask has no meaning.
 *   1  Registers of the board "edu" do it, in its BAR 0. The handler clears
 *	the bits of the mask in the status register at 0x20, where bit 7 lets
 *	the end of a computation interrupt, and acknowledges what is pending,
 *	because the board holds its line until then. User space sets the bits
 *	of the mask in 0x20 again. What is raised by hand through 0x60 has no
 *	such bit: it arrives at once.
 *
 * The second write makes both count. The last close brings variant 0 back, so
 * that a program that was killed leaves nothing to the next.
 *
 * The BARs are not requested: /dev/mem would refuse them to user space. BAR 0
 * is also the UIO device's memory region 0.
 */
#include <linux/io.h>
#include <linux/module.h>
#include <linux/pci.h>
#include <linux/uio_driver.h>

#define EDU_VENDOR	     0x1234
#define EDU_DEVICE	     0x11e8
#define EDU_STATUS	     0x20
#define EDU_INTERRUPT_STATUS 0x24
#define EDU_ACKNOWLEDGE	     0x64

enum fix_variant {
	FIX_COMMAND_REGISTER = 0,
	FIX_EDU_REGISTERS = 1,
};

struct quillmark_board {
	struct pci_dev *pdev;
	struct uio_info uio;
	char name[16];
	void __iomem *edu; /* BAR 0 if variant 1 can be had, else NULL */

	/* The UIO core calls open, release and irqcontrol one at a time. */
	unsigned int users;
	bool mask_is_next;
	u32 next_variant;

	spinlock_t lock; /* for the fix in force, which the handler reads */
	u32 variant;
	u32 mask;
};

static bool silence_edu(struct quillmark_board *board)
{
	u32 pending = ioread32(board->edu + EDU_INTERRUPT_STATUS);
	u32 status;

	if (!pending)
		return false;
	status = ioread32(board->edu + EDU_STATUS);
	iowrite32(status & ~board->mask, board->edu + EDU_STATUS);
	iowrite32(pending, board->edu + EDU_ACKNOWLEDGE);
	return true;
}

/*
 * A board that is masked already has not raised the line: one on the same line
 * has. Its cause may still be pending, and would be counted a second time.
 */
static bool silence_by_command(struct quillmark_board *board)
{
	u16 command;

	pci_read_config_word(board->pdev, PCI_COMMAND, &command);
	if (command & PCI_COMMAND_INTX_DISABLE)
		return false;
	return pci_check_and_mask_intx(board->pdev);
}

static irqreturn_t quillmark_handler(int irq, struct uio_info *uio)
{
	struct quillmark_board *board = uio->priv;
	unsigned long flags;
	bool ours;

	spin_lock_irqsave(&board->lock, flags);
	if (board->variant == FIX_EDU_REGISTERS)
		ours = silence_edu(board);
	else
		ours = silence_by_command(board);
	spin_unlock_irqrestore(&board->lock, flags);
	return ours ? IRQ_HANDLED : IRQ_NONE;
}

static void use_fix(struct quillmark_board *board, u32 variant, u32 mask)
{
	unsigned long flags;

	spin_lock_irqsave(&board->lock, flags);
	board->variant = variant;
	board->mask = mask;
	spin_unlock_irqrestore(&board->lock, flags);
}

static int quillmark_irqcontrol(struct uio_info *uio, s32 value)
{
	struct quillmark_board *board = uio->priv;

	if (!board->mask_is_next) {
		if (value != FIX_COMMAND_REGISTER &&
		    (value != FIX_EDU_REGISTERS || !board->edu))
			return -EINVAL;
		board->next_variant = value;
		board->mask_is_next = true;
		return 0;
	}

	board->mask_is_next = false;
	use_fix(board, board->next_variant, value);
	/*
	 * User space has set Interrupt Disable when it took the board, and
	 * with a register of the board to enable by, it won't clear it.
	 */
	if (board->next_variant != FIX_COMMAND_REGISTER)
		pci_intx(board->pdev, 1);
	return 0;
}

static int quillmark_open(struct uio_info *uio, struct inode *inode)
{
	struct quillmark_board *board = uio->priv;

	board->users++;
	return 0;
}

static int quillmark_release(struct uio_info *uio, struct inode *inode)
{
	struct quillmark_board *board = uio->priv;

	if (--board->users == 0) {
		board->mask_is_next = false;
		use_fix(board, FIX_COMMAND_REGISTER, 0);
	}
	return 0;
}

static int map_registers(struct quillmark_board *board)
{
	struct pci_dev *pdev = board->pdev;

	if (pdev->vendor != EDU_VENDOR || pdev->device != EDU_DEVICE)
		return 0;
	board->edu = pcim_iomap(pdev, 0, 0);
	return board->edu ? 0 : -ENOMEM;
}

static void show_registers(struct quillmark_board *board)
{
	struct uio_mem *region = &board->uio.mem[0];
	resource_size_t start = pci_resource_start(board->pdev, 0);

	if (!(pci_resource_flags(board->pdev, 0) & IORESOURCE_MEM))
		return;
	region->name = "BAR 0";
	region->addr = start & PAGE_MASK;
	region->offs = offset_in_page(start);
	region->size =
		PAGE_ALIGN(region->offs + pci_resource_len(board->pdev, 0));
	region->memtype = UIO_MEM_PHYS;
}

static int quillmark_probe(struct pci_dev *pdev, const struct pci_device_id *id)
{
	struct quillmark_board *board;
	int err;

	board = devm_kzalloc(&pdev->dev, sizeof(*board), GFP_KERNEL);
	if (!board)
		return -ENOMEM;
	board->pdev = pdev;
	spin_lock_init(&board->lock);

	err = pcim_enable_device(pdev);
	if (err)
		return err;
	if (pdev->irq && !pci_intx_mask_supported(pdev)) {
		dev_err(&pdev->dev, "the interrupt cannot be masked\n");
		return -ENODEV;
	}
	err = map_registers(board);
	if (err)
		return err;
	pci_set_master(pdev);

	snprintf(board->name, sizeof(board->name), "qm%02x%02x%x",
		 pdev->bus->number, PCI_SLOT(pdev->devfn),
		 PCI_FUNC(pdev->devfn));
	board->uio.name = board->name;
	board->uio.version = "1";
	board->uio.irq = pdev->irq;
	board->uio.irq_flags = IRQF_SHARED;
	board->uio.handler = quillmark_handler;
	board->uio.irqcontrol = quillmark_irqcontrol;
	board->uio.open = quillmark_open;
	board->uio.release = quillmark_release;
	board->uio.priv = board;
	show_registers(board);
	return devm_uio_register_device(&pdev->dev, &board->uio);
}

static struct pci_driver quillmark_driver = {
	.name = "uio_quillmark",
	.id_table = NULL, /* new_id fills it */
	.probe = quillmark_probe,
};
module_pci_driver(quillmark_driver);

MODULE_DESCRIPTION("Interrupts of PCI boards for Quillmark models");
MODULE_AUTHOR("The libqm developers");
MODULE_VERSION("1");
MODULE_LICENSE("GPL");
