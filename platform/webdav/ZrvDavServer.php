<?php
// sabre/dav 1.8 answers every non-zero Depth as 1. NextCloud walks as deep as
// asked, and the console reads a whole account with one "Depth: 10" request,
// so this server walks the tree itself: each collection is listed before its
// content, depth first, children in name order.

class ZrvDavServer extends \Sabre\DAV\Server
{
    protected function httpPropfind($uri)
    {
        $requested = $this->parsePropFindRequest($this->httpRequest->getBody(true));
        $depth = $this->getHTTPDepth(1);
        $entries = $this->getPropertiesForPath($uri, $requested, $depth);

        $this->httpResponse->sendStatus(207);
        $this->httpResponse->setHeader('Content-Type', 'application/xml; charset=utf-8');
        $this->httpResponse->setHeader('Vary', 'Brief,Prefer');
        $features = array('1', '3', 'extended-mkcol');
        foreach ($this->plugins as $plugin) {
            $features = array_merge($features, $plugin->getFeatures());
        }
        $this->httpResponse->setHeader('DAV', implode(', ', $features));

        $prefer = $this->getHTTPPrefer();
        $this->httpResponse->sendBody($this->generateMultiStatus($entries, $prefer['return-minimal']));
    }

    // $depth: 0 the node alone, n > 0 that many levels below it, DEPTH_INFINITY all.
    public function getPropertiesForPath($path, $propertyNames = array(), $depth = 0)
    {
        $path = trim($path, '/');
        $entries = parent::getPropertiesForPath($path, $propertyNames, 0);
        if ($depth == 0) {
            return $entries;
        }
        $node = $this->tree->getNodeForPath($path);
        if (!($node instanceof \Sabre\DAV\ICollection)) {
            return $entries;
        }
        $below = $depth == self::DEPTH_INFINITY ? $depth : $depth - 1;
        $children = $this->tree->getChildren($path);
        usort($children, function ($a, $b) {
            return strcmp($a->getName(), $b->getName());
        });
        foreach ($children as $child) {
            $childPath = $path === '' ? $child->getName() : $path . '/' . $child->getName();
            foreach ($this->getPropertiesForPath($childPath, $propertyNames, $below) as $entry) {
                $entries[] = $entry;
            }
        }
        return $entries;
    }
}
