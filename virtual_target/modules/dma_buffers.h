/* SPDX-License-Identifier: GPL-2.0-only */
#ifndef DMA_BUFFERS_H
#define DMA_BUFFERS_H

#include <linux/types.h>

/*
 * One caller at a time. 0, or -EINVAL where it makes no sense (a name twice, an
 * unknown one, no size), or -ENODEV where there is no such memory or no number
 * left.
 */
int dma_buffer_create(const char *name, size_t size);
int dma_buffer_delete(const char *name);

int dma_buffers_init(void);
void dma_buffers_exit(void);

#endif
