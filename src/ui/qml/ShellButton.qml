import QtQuick
import QtQuick.Controls

// A push button with room around its words; its accessible name is its text unless given.
Button {
    leftPadding: 14
    rightPadding: 14
    Accessible.name: text
}
