// SPDX-License-Identifier: GPL-2.0-only
/*
 * The buffers: a node to be mapped, and a folder of files in the class.
 *
 * A deleted buffer's memory stays until nobody has it open or mapped.
 */
#include <linux/cdev.h>
#include <linux/device.h>
#include <linux/dma-mapping.h>
#include <linux/err.h>
#include <linux/fs.h>
#include <linux/idr.h>
#include <linux/list.h>
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/platform_device.h>
#include <linux/slab.h>
#include <linux/string.h>

#include "dma_buffers.h"

#define MAX_BUFFERS   1024
#define MAX_SYNC_MODE 2

struct dma_buffer {
	struct device dev; /* every open file holds it, and so every mapping */
	struct cdev cdev;
	struct list_head entry;
	size_t size;
	void *memory;
	dma_addr_t bus_address;
	unsigned int sync_mode;
};

static struct platform_device *allocator; /* on whose behalf is allocated */
static dev_t first_number;
static DEFINE_IDA(minors);
static LIST_HEAD(buffers);

static struct dma_buffer *buffer_of(struct device *dev)
{
	return container_of(dev, struct dma_buffer, dev);
}

static ssize_t phys_addr_show(struct device *dev, struct device_attribute *attr,
			      char *to)
{
	return sysfs_emit(to, "%pad\n", &buffer_of(dev)->bus_address);
}
static DEVICE_ATTR_RO(phys_addr);

static ssize_t size_show(struct device *dev, struct device_attribute *attr,
			 char *to)
{
	return sysfs_emit(to, "%zu\n", buffer_of(dev)->size);
}
static DEVICE_ATTR_RO(size);

static ssize_t sync_mode_show(struct device *dev, struct device_attribute *attr,
			      char *to)
{
	return sysfs_emit(to, "%u\n", READ_ONCE(buffer_of(dev)->sync_mode));
}

static ssize_t sync_mode_store(struct device *dev,
			       struct device_attribute *attr, const char *from,
			       size_t count)
{
	unsigned int mode;
	int err = kstrtouint(from, 0, &mode);

	if (err || mode > MAX_SYNC_MODE)
		return -EINVAL;
	WRITE_ONCE(buffer_of(dev)->sync_mode, mode);
	return count;
}
static DEVICE_ATTR_RW(sync_mode);

static struct attribute *buffer_attrs[] = {
	&dev_attr_phys_addr.attr,
	&dev_attr_size.attr,
	&dev_attr_sync_mode.attr,
	NULL,
};
ATTRIBUTE_GROUPS(buffer);

static struct class buffer_class = {
	.name = "u-dma-buf",
	.owner = THIS_MODULE,
	.dev_groups = buffer_groups,
};

static int buffer_open(struct inode *inode, struct file *file)
{
	file->private_data =
		container_of(inode->i_cdev, struct dma_buffer, cdev);
	return 0;
}

/*
 * O_SYNC together with sync_mode 1 or 2 asks for a mapping past the caches.
 * That is for machines whose DMA bypasses them. On this one DMA is coherent
 * and the kernel has the memory cached: another kind of mapping would only
 * bring the two in conflict.
 *
 * Pages and not mere addresses are mapped, and all of them now: pagemap can
 * then tell where they are, and a model's step takes no fault.
 */
static int buffer_mmap(struct file *file, struct vm_area_struct *vma)
{
	struct dma_buffer *buffer = file->private_data;
	unsigned long pages = PFN_UP(buffer->size), n;
	int err = 0;

	if (vma->vm_pgoff > pages || vma_pages(vma) > pages - vma->vm_pgoff)
		return -ENXIO;
	vma->vm_flags |= VM_DONTEXPAND;
	for (n = 0; !err && n < vma_pages(vma); n++)
		err = vm_insert_page(vma, vma->vm_start + n * PAGE_SIZE,
				     virt_to_page(buffer->memory) +
					     vma->vm_pgoff + n);
	return err;
}

static const struct file_operations buffer_operations = {
	.owner = THIS_MODULE,
	.open = buffer_open,
	.mmap = buffer_mmap,
};

static int allocate_memory(struct dma_buffer *buffer, size_t size)
{
	/* Too large is the caller's business and no reason for a warning. */
	void *memory = alloc_pages_exact(
		size, GFP_KERNEL | GFP_DMA32 | __GFP_ZERO | __GFP_NOWARN);

	if (!memory)
		return -ENODEV;
	buffer->bus_address = dma_map_single(&allocator->dev, memory, size,
					     DMA_BIDIRECTIONAL);
	if (dma_mapping_error(&allocator->dev, buffer->bus_address)) {
		free_pages_exact(memory, size);
		return -ENODEV;
	}
	buffer->memory = memory;
	buffer->size = size;
	return 0;
}

static void buffer_release(struct device *dev)
{
	struct dma_buffer *buffer = buffer_of(dev);

	if (buffer->memory) {
		dma_unmap_single(&allocator->dev, buffer->bus_address,
				 buffer->size, DMA_BIDIRECTIONAL);
		free_pages_exact(buffer->memory, buffer->size);
	}
	ida_free(&minors, MINOR(dev->devt) - MINOR(first_number));
	kfree(buffer);
}

static struct dma_buffer *find_buffer(const char *name)
{
	struct dma_buffer *buffer;

	list_for_each_entry(buffer, &buffers, entry)
		if (!strcmp(dev_name(&buffer->dev), name))
			return buffer;
	return NULL;
}

/* Without a name and memory yet; put_device() undoes it. */
static struct dma_buffer *new_buffer(void)
{
	struct dma_buffer *buffer = kzalloc(sizeof(*buffer), GFP_KERNEL);
	int minor;

	if (!buffer)
		return NULL;
	minor = ida_alloc_max(&minors, MAX_BUFFERS - 1, GFP_KERNEL);
	if (minor < 0) {
		kfree(buffer);
		return NULL;
	}
	device_initialize(&buffer->dev);
	buffer->dev.class = &buffer_class;
	buffer->dev.release = buffer_release;
	buffer->dev.devt = first_number + minor;
	buffer->sync_mode = 1;
	cdev_init(&buffer->cdev, &buffer_operations);
	buffer->cdev.owner = THIS_MODULE;
	return buffer;
}

int dma_buffer_create(const char *name, size_t size)
{
	struct dma_buffer *buffer;

	if (!size || find_buffer(name))
		return -EINVAL;
	if (size > INT_MAX) /* where rounding up to pages is safe */
		return -ENODEV;
	buffer = new_buffer();
	if (!buffer)
		return -ENODEV;
	if (allocate_memory(buffer, size) ||
	    dev_set_name(&buffer->dev, "%s", name) ||
	    cdev_device_add(&buffer->cdev, &buffer->dev)) {
		put_device(&buffer->dev);
		return -ENODEV;
	}
	list_add_tail(&buffer->entry, &buffers);
	return 0;
}

static void remove_buffer(struct dma_buffer *buffer)
{
	list_del(&buffer->entry);
	cdev_device_del(&buffer->cdev, &buffer->dev);
	put_device(&buffer->dev);
}

int dma_buffer_delete(const char *name)
{
	struct dma_buffer *buffer = find_buffer(name);

	if (!buffer)
		return -EINVAL;
	remove_buffer(buffer);
	return 0;
}

int dma_buffers_init(void)
{
	int err;

	allocator = platform_device_register_simple(
		"qm-dma-buf", PLATFORM_DEVID_NONE, NULL, 0);
	if (IS_ERR(allocator))
		return PTR_ERR(allocator);
	err = dma_set_mask_and_coherent(&allocator->dev, DMA_BIT_MASK(32));
	if (err)
		goto unregister_allocator;
	err = alloc_chrdev_region(&first_number, 0, MAX_BUFFERS, "u-dma-buf");
	if (err)
		goto unregister_allocator;
	err = class_register(&buffer_class);
	if (!err)
		return 0;

	unregister_chrdev_region(first_number, MAX_BUFFERS);
unregister_allocator:
	platform_device_unregister(allocator);
	return err;
}

void dma_buffers_exit(void)
{
	struct dma_buffer *buffer, *next;

	list_for_each_entry_safe(buffer, next, &buffers, entry)
		remove_buffer(buffer);
	class_unregister(&buffer_class);
	unregister_chrdev_region(first_number, MAX_BUFFERS);
	platform_device_unregister(allocator);
	ida_destroy(&minors);
}
