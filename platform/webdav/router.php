<?php
// Router of "php -S": every request goes to the WebDAV server.
// ZRV_DAV_ROOT is the data folder, ZRV_DAV_USERS the accounts ("user:password,...").

require_once __DIR__ . '/ZrvDavApp.php';

$uri = $_SERVER['REQUEST_URI'];
if (parse_url($uri, PHP_URL_PATH) === '/status.php') {
    header('Content-Type: application/json; charset=utf-8');
    echo json_encode(array('installed' => true, 'maintenance' => false, 'productname' => 'NextCloud'));
    return true;
}
$server = ZrvDavApp::create(getenv('ZRV_DAV_ROOT'), ZrvDavUsers::parse(getenv('ZRV_DAV_USERS')));
$server->exec();
return true;
