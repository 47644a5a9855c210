#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/dialects/Explanation.h"

namespace orv {

/// Rebuilds Attribute and AttributeCount from SmartReadData and interprets each entry by the dialect that the
/// record has. True when at least one attribute was kept. A value that no rule writes keeps what it had.
bool FillSmartData(AtaSmartInfo& asi, Explanation* why = nullptr);

/// Rebuilds Threshold from SmartReadThreshold. True when there are attributes.
bool FillSmartThreshold(AtaSmartInfo& asi);

/// The attribute pass of the classification: the rules of FillSmartData once more over Attribute, now that
/// the dialect is known. Rows of the table that differ for it are marked there.
void InterpretAttributes(AtaSmartInfo& asi, Explanation* why = nullptr);

/// Decides which attribute dialect a drive speaks from model, firmware and attribute ids, and interprets its
/// attributes by it. Not for NVMe drives. Cannot fail.
void ClassifyDrive(AtaSmartInfo& asi, Explanation* why = nullptr);

/// True when two reads list the same attributes in the same order; their values are not compared.
bool CheckSmartAttributeCorrect(const AtaSmartInfo& asi1, const AtaSmartInfo& asi2);

/// Health of a drive. Stores Life where the dialect keeps it in the row that health is read from.
DiskHealth CheckDiskStatus(AtaSmartInfo& asi, Explanation* why = nullptr);

} // namespace orv
