// SPDX-License-Identifier: GPL-2.0-only
/*
 * Physically contiguous buffers for DMA, made and deleted by text commands,
 * each a line, written to /dev/u-dma-buf-mgr:
 *
 *   create NAME SIZE	a buffer of SIZE bytes, filled with zeros
 *   delete NAME
 *
 * A command that makes no sense is EINVAL, a buffer that cannot be had ENODEV.
 * Nothing happens before the newline.
 */
#include <linux/fs.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/slab.h>
#include <linux/string.h>
#include <linux/uaccess.h>

#include "dma_buffers.h"

#define NAME_CHARACTERS \
	"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-"

static DEFINE_MUTEX(commands_lock);

static bool usable_name(const char *name)
{
	return *name && *name != '.' && strlen(name) < 64 &&
	       strspn(name, NAME_CHARACTERS) == strlen(name);
}

static int obey(char *line)
{
	const char *command = strsep(&line, " ");
	const char *name = strsep(&line, " ");
	const char *size_text = strsep(&line, " ");
	unsigned long size;

	if (!name || !usable_name(name) || line)
		return -EINVAL;
	if (!strcmp(command, "delete") && !size_text)
		return dma_buffer_delete(name);
	if (!strcmp(command, "create") && size_text &&
	    !kstrtoul(size_text, 0, &size))
		return dma_buffer_create(name, size);
	return -EINVAL;
}

/* What was written since the last newline. */
struct session {
	size_t length;
	char line[128];
};

static int manager_open(struct inode *inode, struct file *file)
{
	file->private_data = kzalloc(sizeof(struct session), GFP_KERNEL);
	return file->private_data ? 0 : -ENOMEM;
}

static int manager_release(struct inode *inode, struct file *file)
{
	kfree(file->private_data);
	return 0;
}

/* Takes bytes up to the first newline: what follows is another write. */
static ssize_t take_line(struct session *session, const char __user *from,
			 size_t count)
{
	char *start = session->line + session->length;
	char *newline;
	int err;

	count = min(count, sizeof(session->line) - session->length);
	if (copy_from_user(start, from, count))
		return -EFAULT;
	newline = memchr(start, '\n', count);
	if (!newline) {
		session->length += count;
		if (session->length < sizeof(session->line))
			return count;
		session->length = 0;
		return -EINVAL;
	}
	*newline = '\0';
	session->length = 0;
	err = obey(session->line);
	return err ? err : newline - start + 1;
}

static ssize_t manager_write(struct file *file, const char __user *from,
			     size_t count, loff_t *offset)
{
	ssize_t taken;

	mutex_lock(&commands_lock);
	taken = take_line(file->private_data, from, count);
	mutex_unlock(&commands_lock);
	return taken;
}

static const struct file_operations manager_operations = {
	.owner = THIS_MODULE,
	.open = manager_open,
	.release = manager_release,
	.write = manager_write,
};

static struct miscdevice manager = {
	.minor = MISC_DYNAMIC_MINOR,
	.name = "u-dma-buf-mgr",
	.fops = &manager_operations,
	.mode = 0666, /* as a target's image sets it: models are no root */
};

static int __init dma_manager_init(void)
{
	int err = dma_buffers_init();

	if (err)
		return err;
	err = misc_register(&manager);
	if (err)
		dma_buffers_exit();
	return err;
}

static void __exit dma_manager_exit(void)
{
	misc_deregister(&manager);
	dma_buffers_exit();
}

module_init(dma_manager_init);
module_exit(dma_manager_exit);

MODULE_DESCRIPTION("DMA buffers with a u-dma-buf text interface");
MODULE_AUTHOR("The libqm developers");
MODULE_VERSION("1");
MODULE_LICENSE("GPL");
