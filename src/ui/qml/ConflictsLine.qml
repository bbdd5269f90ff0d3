import QtQuick
import QtQuick.Controls

// A quiet line about block versions that lost a sync conflict; a click opens them.
Label {
    id: line

    required property QtObject notice

    signal review()

    visible: notice.count > 0
    text: notice.line
    wrapMode: Text.Wrap
    opacity: hover.hovered ? 1.0 : 0.75
    font.pointSize: Qt.application.font.pointSize * 0.9
    font.underline: hover.hovered
    Accessible.role: Accessible.Link
    Accessible.name: text
    Accessible.onPressAction: notice.review()

    HoverHandler {
        id: hover

        cursorShape: Qt.PointingHandCursor
    }

    TapHandler {
        onTapped: line.notice.review()
    }
}
