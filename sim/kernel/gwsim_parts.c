// SPDX-License-Identifier: GPL-2.0
/*
 * The gateway's partition table for the NAND simulator's chip.
 *
 * The chip registers through the MTD core, which asks the partition parser
 * named "cmdlinepart" before taking the simulator's own numbered
 * partitions; this parser answers the first device that asks after it is
 * loaded (the chip: it is loaded right before the simulator) with the list
 * in `parts`, "SIZE:NAME,SIZE:NAME,..." (sizes in bytes, laid end to end
 * from offset 0), so the partitions get the gateway's names, sizes and
 * order: mtd0, mtd1, ... as the gateway lists them. Later devices get no
 * table from it.
 */
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/mtd/partitions.h>
#include <linux/slab.h>
#include <linux/string.h>

#define MAX_PARTS 16

static char *parts;
module_param(parts, charp, 0400);
MODULE_PARM_DESC(parts, "SIZE:NAME,... laid end to end");

static char *names;

static int parse_table(struct mtd_info *mtd, const struct mtd_partition **pparts,
		       struct mtd_part_parser_data *data)
{
	struct mtd_partition *table;
	char *cursor, *item;
	u64 offset = 0;
	int n = 0;

	if (!parts || names)
		return 0;
	/* The core frees the table once the partitions are made; the names
	 * stay with this module. */
	table = kcalloc(MAX_PARTS, sizeof *table, GFP_KERNEL);
	names = kstrdup(parts, GFP_KERNEL);
	if (!table || !names) {
		kfree(table);
		return -ENOMEM;
	}
	cursor = names;
	while ((item = strsep(&cursor, ",")) != NULL) {
		char *name = strchr(item, ':');
		unsigned long long size;

		if (n == MAX_PARTS || !name)
			goto bad;
		*name++ = '\0';
		if (kstrtoull(item, 0, &size) || size == 0 || offset + size > mtd->size)
			goto bad;
		table[n].name = name;
		table[n].offset = offset;
		table[n].size = size;
		offset += size;
		n++;
	}
	*pparts = table;
	return n;
bad:
	kfree(table);
	return -EINVAL;
}

static struct mtd_part_parser gateway_parser = {
	.parse_fn = parse_table,
	.name = "cmdlinepart",
};

static int __init gateway_parts_init(void)
{
	return register_mtd_parser(&gateway_parser);
}

static void __exit gateway_parts_exit(void)
{
	deregister_mtd_parser(&gateway_parser);
	kfree(names);
}

module_init(gateway_parts_init);
module_exit(gateway_parts_exit);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("The gateway's partition table for the NAND simulator");
