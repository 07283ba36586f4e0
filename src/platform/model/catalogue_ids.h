#pragma once

#include <QString>

// The catalogue ids and groups of the editor's own effects and transitions that the package
// library refers to. They are the texts that stored items carry, so they never change. Constants
// only.

namespace Effect {
namespace Id {
const QString Lut = QStringLiteral("effect_lut");
const QString ExternalShader = QStringLiteral("external_shader");
const QString PictureInPicture = QStringLiteral("effect_picture_in_picture");
const QString SideBySide = QStringLiteral("effect_side_by_side");
}  // namespace Id

namespace Group {
const QString GroupColor = QStringLiteral("group_color");
const QString GroupPip = QStringLiteral("group_pip");
const QString GroupCustom = QStringLiteral("group_custom");
}  // namespace Group
}  // namespace Effect

namespace Transition {
namespace Id {
const QString ExternalShader = QStringLiteral("transition_external_shader");
const QString MaskTransition = QStringLiteral("transition_mask");
const QString Overlay = QStringLiteral("transition_overlay");
}  // namespace Id
}  // namespace Transition
