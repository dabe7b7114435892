#pragma once

// The four rows of table `item`, each a root of the knowledge tree: the common list, the product
// knowledge with its big and small categories, company affairs and couriers. The stores are
// created with these ids and `type.itemid` refers to them.
enum class TreeSection : int { Common = 1, Product = 2, Affairs = 3, Couriers = 4 };

inline constexpr int sectionId(TreeSection section)
{
    return static_cast<int>(section);
}
